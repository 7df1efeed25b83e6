#pragma once

// Marks what hosts and the view use of MORVFramework; everything else stays hidden inside the library.
#define MORV_EXPORT __attribute__((visibility("default")))
