#pragma once

#include <string>

namespace morv {

// What the operating system calls the machine's hardware ("x86_64", "aarch64"); empty if it does not tell.
std::string machineName();

}  // namespace morv
