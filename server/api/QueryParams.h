// The "params" of a GET request as the library sends it: a JSON text, percent-encoded with
// the characters a URL query allows, which leaves '&', '=' and '+' as they are. The signature
// covers the decoded text, so it is taken whole from after "params=" and never split at '&'.
#pragma once

#include <optional>
#include <string>

namespace tolvana::server {

std::optional<std::string> paramsOf(const std::string& target);

}  // namespace tolvana::server
