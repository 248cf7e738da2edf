#include "platform/posix/Environment.h"

#include <cstdlib>

namespace tolvana {

std::optional<std::string> processEnvironment(std::string_view name) {
  if (const char* value = std::getenv(std::string(name).c_str())) return std::string(value);
  return std::nullopt;
}

}  // namespace tolvana
