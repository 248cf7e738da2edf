// ScreenshotUpload: the upload request of one screenshot: a multipart body with the PNG and
// a JSON text of the string positions and the device, signed like every request.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "review/TLStringPosition.h"
#include "tolvana/platform/Http.h"

namespace tolvana {

struct ScreenshotUpload {
  std::string tag;
  std::vector<TLStringPosition> positions;
  std::string png;
  bool useOcr = false;
  bool inShowIdMode = false;
  // The language the texts are in: the device's long code, else its short one, when the
  // project has it; else the project's base language.
  std::string language;

  // The "stringBody" part's JSON text.
  std::string json() const;
  // The whole body between the boundaries, byte for byte; every line ends in CR LF.
  static std::string multipartBody(const std::string& boundary, const std::string& png, const std::string& json);
  // The POST to the host's upload path, signed by the given headers (signingHeaders of the
  // JSON text). The boundary is taken from a second time stamp, which may differ from the
  // signed one.
  HttpRequest request(const std::string& host, const std::string& appId, const std::string& json,
                      std::vector<std::pair<std::string, std::string>> signing,
                      const std::string& boundaryTimestamp) const;
};

}  // namespace tolvana
