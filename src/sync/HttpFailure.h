// HttpFailure: why an exchange with the translation server brought no usable answer, in the
// words a developer reads in a log or a tool's error line ("HTTP 401", "timed out after 5 s").
#pragma once

#include <optional>
#include <string>

#include "tolvana/platform/Http.h"

namespace tolvana {

// Nullopt for a 200 answer with a body; otherwise the cause. url and requestTimeout are the
// request's.
std::optional<std::string> httpFailureCause(const std::string& url, double requestTimeout,
                                            const HttpResponse& response);

}  // namespace tolvana
