#pragma once

// Marks everything that is reachable from the render entry: it never allocates, locks, waits, does I/O or
// throws. Compilers that can check the promise are told of it.
#if defined(__has_cpp_attribute)
#if __has_cpp_attribute(clang::nonblocking)
#define MORV_NONBLOCKING [[clang::nonblocking]]
#endif
#endif
#ifndef MORV_NONBLOCKING
#define MORV_NONBLOCKING
#endif
