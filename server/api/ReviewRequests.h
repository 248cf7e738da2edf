// ReviewRequests: what the server accepts from the review tools, checked as strictly as the
// library writes it, so a client that drifts from it fails here rather than on a real server.
#pragma once

#include <optional>
#include <string>
#include <variant>

#include "tolvana/Value.h"

namespace tolvana::server {

struct ScreenshotParts {
  std::string png;
  std::string json;
};

// The screenshot upload's multipart body, byte for byte: the boundary of the Content-Type,
// the image part stating its own length, the string part, the closing boundary line, and a
// Content-Length that counts the whole body. The parts, or what is wrong.
std::variant<ScreenshotParts, std::string> parseScreenshotUpload(const std::string& contentType,
                                                                 const std::string& contentLength,
                                                                 const std::string& body);
// What is wrong with the upload's JSON object, or nothing.
std::optional<std::string> screenshotBodyError(const Value& body);
// What is wrong with an issue request (its Content-Type and JSON object), or nothing.
std::optional<std::string> issueRequestError(const std::string& contentType, const std::string& contentLength,
                                             const std::string& body);

}  // namespace tolvana::server
