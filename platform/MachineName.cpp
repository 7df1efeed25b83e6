#include "platform/MachineName.h"

#include <sys/utsname.h>

namespace morv {

std::string machineName() {
  utsname names{};
  return uname(&names) == 0 ? std::string(names.machine) : std::string();
}

}  // namespace morv
