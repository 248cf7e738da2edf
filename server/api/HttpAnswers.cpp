#include "api/HttpAnswers.h"

#include <chrono>
#include <map>
#include <mutex>

#include "storage/StorageError.h"
#include "support/Json.h"
#include "support/TLLog.h"

namespace tolvana::server {

void answerJson(httplib::Response& response, const Value& body, int status) {
  response.status = status;
  response.set_content(json::serialize(body), "application/json");
}

namespace {

// A database outage or a flood of bad requests refuses thousands of requests a second; a
// few lines a second per status tell the operator as much, and the count of the others
// follows in the next line.
class RefusalLog {
 public:
  void write(const httplib::Request& request, int status, const std::string& reason) {
    std::int64_t unlogged = 0;
    {
      std::lock_guard lock(mutex_);
      auto now = std::chrono::steady_clock::now();
      Window& window = windows_[status];
      if (now - window.start >= std::chrono::seconds(1)) {
        window.start = now;
        window.lines = 0;
      }
      if (window.lines >= kLinesPerSecond) {
        ++window.unlogged;
        return;
      }
      ++window.lines;
      std::swap(unlogged, window.unlogged);
    }
    TLLog::sharedInstance().log(TLLog::tag(), status >= 500 ? TLLog::kError : TLLog::kWarning, "%@ %@ from %@: %@ %@%@",
                                request.method, request.path, request.remote_addr, status, reason,
                                unlogged ? " (and " + std::to_string(unlogged) + " more refused so before)" : "");
  }

 private:
  static constexpr int kLinesPerSecond = 5;
  struct Window {
    std::chrono::steady_clock::time_point start;
    int lines = 0;
    std::int64_t unlogged = 0;
  };
  std::mutex mutex_;
  std::map<int, Window> windows_;  // guarded by mutex_
};

}  // namespace

void refuse(const httplib::Request& request, httplib::Response& response, int status, const std::string& reason) {
  static RefusalLog log;
  log.write(request, status, reason);
  answerJson(response, Value::Dictionary{{"error", reason}}, status);
}

void refuseAndClose(const httplib::Request& request, httplib::Response& response, int status,
                    const std::string& reason) {
  refuse(request, response, status, reason);
  closeAfterAnswer(response);
}

void closeAfterAnswer(httplib::Response& response) {
  // The HTTP library closes a connection only when the request asked for it, or when writing
  // an answer fails; a provider that writes the whole body and then reports a failure is how a
  // handler closes one after a complete answer.
  auto body = std::make_shared<std::string>(std::move(response.body));
  response.body.clear();
  response.set_header("Connection", "close");
  std::string type = response.get_header_value("Content-Type");
  response.headers.erase("Content-Type");
  response.set_content_provider(body->size(), type,
                                [body](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
                                  sink.write(body->data() + offset, length);
                                  return false;
                                });
}

int statusFor(const StorageError& error) {
  switch (error.kind()) {
    case StorageError::Kind::unavailable:
      return 503;
    case StorageError::Kind::full:
      return 507;
    case StorageError::Kind::conflict:
      return 409;
    case StorageError::Kind::invalid:
      return 400;
    case StorageError::Kind::notFound:
      return 404;
    case StorageError::Kind::failed:
      break;
  }
  return 500;
}

void refuse(const httplib::Request& request, httplib::Response& response, const StorageError& error) {
  refuse(request, response, statusFor(error), error.what());
}

}  // namespace tolvana::server
