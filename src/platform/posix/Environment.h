// The process environment as the Linux ports read it. Ports take it as a function, so a test
// gives them its own variables instead of changing the process's, which would race with
// every thread that reads them.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace tolvana {

using EnvironmentFn = std::function<std::optional<std::string>(std::string_view)>;

std::optional<std::string> processEnvironment(std::string_view name);

}  // namespace tolvana
