#include "ServerTestSupport.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <sstream>
#include <stdexcept>

#include "support/Hmac.h"
#include "tests/support/Subprocess.h"

namespace tolvana::server::testing {

namespace {

const std::vector<std::string> kEnvironment = {"PATH=/usr/bin:/bin:/usr/sbin:/sbin"};
const std::string kScript = TOLVANA_SOURCE_DIR "/scripts/scratch-postgres";

std::string percentEncoded(const std::string& text) {
  static const char* hex = "0123456789ABCDEF";
  std::string out;
  for (unsigned char c : text) {
    if (std::isalnum(c) || std::string_view("-._~:,").find(static_cast<char>(c)) != std::string_view::npos) {
      out += static_cast<char>(c);
    } else {
      out += '%';
      out += hex[c >> 4];
      out += hex[c & 15];
    }
  }
  return out;
}

}  // namespace

ScratchPostgres::ScratchPostgres() {
  auto started = tolvana::testing::runProcess({"/bin/bash", kScript, "start"}, kEnvironment);
  std::istringstream words(started.out);
  words >> url_ >> directory_;
  if (started.exitCode != 0 || directory_.empty()) {
    throw std::runtime_error("scratch PostgreSQL did not start: " + started.err);
  }
}

ScratchPostgres::~ScratchPostgres() { tolvana::testing::runProcess({"/bin/bash", kScript, "stop", directory_}, kEnvironment); }

void ScratchPostgres::pause() { tolvana::testing::runProcess({"/bin/bash", kScript, "pause", directory_}, kEnvironment); }

void ScratchPostgres::resume() {
  auto resumed = tolvana::testing::runProcess({"/bin/bash", kScript, "resume", directory_}, kEnvironment);
  if (resumed.exitCode != 0) throw std::runtime_error("scratch PostgreSQL did not start again: " + resumed.err);
}

std::string nowStamp() {
  return std::to_string(
      std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch()).count());
}

std::vector<std::pair<std::string, std::string>> signedHeaders(const std::string& text, const std::string& timestamp) {
  return {{"timestamp", timestamp}, {"hmac", hmacSha256Hex("s3cr3t-key", timestamp + text + timestamp)}};
}

HttpRequest updateRequest(const std::string& body, bool cacheable, const std::string& project) {
  const std::string path = "/v4/mobile-apps/sdk/" + project;
  if (!cacheable) {
    HttpRequest request{"POST", path, signedHeaders(body), body};
    request.headers.emplace_back("Content-Type", "application/json");
    return request;
  }
  return HttpRequest{"GET", path + "?params=" + percentEncoded(body), signedHeaders(body, "213374411"), ""};
}

std::string multipartOf(const std::string& boundary, const std::string& png, const std::string& body,
                        const std::string& stated) {
  return "--" + boundary + "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"screenshot.png\"" +
         "\r\nContent-Type: image/png\r\nContent-Length: " + stated + "\r\n\r\n" + png + "\r\n--" + boundary +
         "\r\nContent-Disposition: form-data; name=\"stringBody\"\r\n\r\n" + body + "\r\n--" + boundary + "--\r\n";
}

HttpRequest screenshotUpload(const std::string& png, const std::string& json, const std::string& project) {
  const std::string boundary = "***" + nowStamp() + "***";
  HttpRequest request{"POST", "/v3/mobile-apps/sdk/" + project + "/uploadScreenshot", signedHeaders(json),
                      multipartOf(boundary, png, json, std::to_string(png.size()))};
  request.headers.emplace_back("Content-Type", "multipart/form-data; boundary=" + boundary);
  return request;
}

std::string screenshotJson(const std::string& tag) {
  return R"({"deviceLanguageLong":"de","deviceModel":"x86_64","height":1334,"operatingSystem":"Linux 6",)"
         R"("platform":"linux","screenTag":")" + tag + R"(","stringPositions":[],"useOCR":"false","width":750})";
}

std::string rawExchange(const std::string& baseUrl, const std::string& bytes, int timeoutMs) {
  int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(std::stoi(baseUrl.substr(baseUrl.rfind(':') + 1))));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  std::string received;
  if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
      ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size())) {
    pollfd readable{fd, POLLIN, 0};
    char buffer[4096];
    while (::poll(&readable, 1, timeoutMs) == 1) {
      ssize_t n = ::recv(fd, buffer, sizeof buffer, 0);
      if (n <= 0) break;
      received.append(buffer, static_cast<std::size_t>(n));
    }
  }
  ::close(fd);
  return received;
}

std::string pngOf(std::size_t bytes, char fill) {
  std::string png("\x89PNG\r\n\x1a\n", 8);
  png.resize(std::max<std::size_t>(bytes, 8), fill);
  return png;
}

}  // namespace tolvana::server::testing
