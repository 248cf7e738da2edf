#include "api/ReviewRequests.h"

#include <charconv>

#include "support/Json.h"

namespace tolvana::server {
namespace {

// Takes the expected text off the front of rest; false when rest does not start with it.
bool take(std::string_view& rest, std::string_view expected) {
  if (!rest.starts_with(expected)) return false;
  rest.remove_prefix(expected.size());
  return true;
}

std::optional<std::string> missingFields(const Value& body, std::initializer_list<const char*> strings) {
  if (!body.isDictionary()) return "the body is no JSON object";
  for (const char* name : strings) {
    const Value* v = body.find(name);
    if (!v || !v->isString()) return std::string("no text \"") + name + "\"";
  }
  return std::nullopt;
}

}  // namespace

std::variant<ScreenshotParts, std::string> parseScreenshotUpload(const std::string& contentType,
                                                                 const std::string& contentLength,
                                                                 const std::string& body) {
  constexpr std::string_view kType = "multipart/form-data; boundary=";
  if (!contentType.starts_with(kType)) return "Content-Type is not multipart/form-data with a boundary";
  std::string boundary = contentType.substr(kType.size());
  if (boundary.size() < 7 || !boundary.starts_with("***") || !boundary.ends_with("***")) {
    return "the boundary is not ***<timestamp>***";
  }
  if (contentLength != std::to_string(body.size())) return "Content-Length does not count the body";
  std::string_view rest = body;
  const std::string line = "--" + boundary + "\r\n";
  if (!take(rest, line) ||
      !take(rest, "Content-Disposition: form-data; name=\"file\"; filename=\"screenshot.png\"\r\n") ||
      !take(rest, "Content-Type: image/png\r\nContent-Length: ")) {
    return "the image part's headers differ";
  }
  std::size_t digits = rest.find("\r\n\r\n");
  if (digits == std::string_view::npos || digits == 0) return "the image part states no length";
  std::string_view stated = rest.substr(0, digits);
  std::size_t length = 0;
  auto [end, error] = std::from_chars(stated.data(), stated.data() + stated.size(), length);
  if (error != std::errc() || end != stated.data() + stated.size()) {
    return "the image part's length is no number the body can hold";
  }
  rest.remove_prefix(digits + 4);
  if (rest.size() < length) return "the image part is shorter than it states";
  ScreenshotParts parts{std::string(rest.substr(0, length)), ""};
  rest.remove_prefix(length);
  if (!take(rest, "\r\n") || !take(rest, line) ||
      !take(rest, "Content-Disposition: form-data; name=\"stringBody\"\r\n\r\n")) {
    return "the string part does not follow the image as expected";
  }
  const std::string closing = "\r\n--" + boundary + "--\r\n";
  if (!rest.ends_with(closing)) return "the body does not end with the closing boundary line";
  parts.json = std::string(rest.substr(0, rest.size() - closing.size()));
  if (!parts.png.starts_with("\x89PNG\r\n\x1a\n")) return "the image is no PNG";
  return parts;
}

std::optional<std::string> screenshotBodyError(const Value& body) {
  if (auto missing = missingFields(body, {"screenTag", "deviceModel", "platform", "operatingSystem",
                                          "deviceLanguageLong", "useOCR"})) {
    return missing;
  }
  const Value* positions = body.find("stringPositions");
  if (!positions || !positions->isArray()) return "no array \"stringPositions\"";
  for (const char* name : {"width", "height"}) {
    const Value* v = body.find(name);
    if (!v || !(v->type() == Value::Type::Integer || v->type() == Value::Type::Real)) {
      return std::string("no number \"") + name + "\"";
    }
  }
  if (body.find("useOCR")->asString() != "true" && body.find("useOCR")->asString() != "false") {
    return "\"useOCR\" is neither \"true\" nor \"false\"";
  }
  return std::nullopt;
}

std::optional<std::string> issueRequestError(const std::string& contentType, const std::string& contentLength,
                                             const std::string& body) {
  if (contentType != "application/json") return "Content-Type is not application/json";
  if (contentLength != std::to_string(body.size())) return "Content-Length does not count the body";
  auto parsed = json::parse(body);
  if (!parsed) return "the body is no JSON";
  return missingFields(*parsed, {"genuine", "sdkVersion", "summary", "description", "deviceModel", "platform",
                                 "operatingSystem", "languageName"});
}

}  // namespace tolvana::server
