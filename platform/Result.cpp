#include "platform/Result.h"

#include <cerrno>
#include <system_error>

namespace morv {

Failure systemFailure(const std::string& what) {
  const int error = errno;
  return {what + ": " + std::generic_category().message(error), error};
}

}  // namespace morv
