// What the server's tests share: a PostgreSQL of their own, requests signed as the library
// signs them, and the library's multipart screenshot upload.
#pragma once

#include <string>
#include <vector>

#include "tests/support/ServerFixture.h"
#include "tolvana/platform/Http.h"

namespace tolvana::server::testing {

// A scratch PostgreSQL cluster (scripts/scratch-postgres), removed with the object.
class ScratchPostgres {
 public:
  ScratchPostgres();
  ~ScratchPostgres();
  ScratchPostgres(const ScratchPostgres&) = delete;
  ScratchPostgres& operator=(const ScratchPostgres&) = delete;

  const std::string& url() const { return url_; }
  // Stops the server (a fast shutdown, as an operator's restart does), keeping its data.
  void pause();
  // Starts it again on the same port.
  void resume();

 private:
  std::string url_, directory_;
};

// The current time, as a device's clock gives it.
std::string nowStamp();
// Headers "timestamp" and "hmac" over text, with app1's secret.
std::vector<std::pair<std::string, std::string>> signedHeaders(const std::string& text,
                                                               const std::string& timestamp = nowStamp());
// A signed update request: POST with the body, or the cacheable GET with the fixed stamp.
HttpRequest updateRequest(const std::string& body, bool cacheable, const std::string& project = "app1");
// A signed screenshot upload of png with the JSON text of its string part.
HttpRequest screenshotUpload(const std::string& png, const std::string& json, const std::string& project = "app1");
// The library's multipart body, with the parts a test may spoil.
std::string multipartOf(const std::string& boundary, const std::string& png, const std::string& body,
                        const std::string& stated);
// A screenshot's string part that the server accepts, under tag.
std::string screenshotJson(const std::string& tag);
// Sends bytes on a new connection to the server of baseUrl and returns what comes back until
// the server closes the connection or timeoutMs pass without a byte.
std::string rawExchange(const std::string& baseUrl, const std::string& bytes, int timeoutMs = 3000);
// A PNG of n bytes.
std::string pngOf(std::size_t bytes, char fill = '\0');

}  // namespace tolvana::server::testing
