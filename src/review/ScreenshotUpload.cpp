#include "review/ScreenshotUpload.h"

#include "config/TLDeviceUtil.h"
#include "support/Json.h"

namespace tolvana {

std::string ScreenshotUpload::json() const {
  Value::Array serialized;
  for (const auto& position : positions) serialized.push_back(position.serialize());
  std::string system = TLDeviceUtil::operatingSystem();
  if (inShowIdMode) system += " - [Tolvana ID Mode]";
  Value::Dictionary body{
      {"stringPositions", serialized},
      {"screenTag", tag},
      {"deviceModel", TLDeviceUtil::deviceModel()},
      {"platform", TLDeviceUtil::platform()},
      {"operatingSystem", system},
      {"deviceLanguageLong", language},
      {"width", TLDeviceUtil::screenWidth()},
      {"height", TLDeviceUtil::screenheight()},
      {"useOCR", useOcr ? "true" : "false"},
  };
  // An app without a version sends none rather than a placeholder.
  if (auto version = TLDeviceUtil::bundleVersion()) body["bundleVersion"] = *version;
  return json::serialize(body);
}

std::string ScreenshotUpload::multipartBody(const std::string& boundary, const std::string& png,
                                            const std::string& json) {
  std::string body;
  body.reserve(png.size() + json.size() + 256);
  body += "--" + boundary + "\r\n";
  body += "Content-Disposition: form-data; name=\"file\"; filename=\"screenshot.png\"\r\n";
  body += "Content-Type: image/png\r\n";
  body += "Content-Length: " + std::to_string(png.size()) + "\r\n\r\n";
  body += png + "\r\n";
  body += "--" + boundary + "\r\n";
  body += "Content-Disposition: form-data; name=\"stringBody\"\r\n\r\n";
  body += json + "\r\n";
  body += "--" + boundary + "--\r\n";
  return body;
}

HttpRequest ScreenshotUpload::request(const std::string& host, const std::string& appId, const std::string& json,
                                      std::vector<std::pair<std::string, std::string>> signing,
                                      const std::string& boundaryTimestamp) const {
  std::string boundary = "***" + boundaryTimestamp + "***";
  HttpRequest request;
  request.method = "POST";
  request.url = host + "/v3/mobile-apps/sdk/" + appId + "/uploadScreenshot";
  request.body = multipartBody(boundary, png, json);
  request.headers = std::move(signing);
  request.headers.insert(request.headers.end(), {{"Content-Type", "multipart/form-data; boundary=" + boundary},
                                                 {"Content-Length", std::to_string(request.body.size())}});
  request.requestTimeout = 120;
  return request;
}

}  // namespace tolvana
