#include "api/HttpAnswers.h"

#include "storage/StorageError.h"
#include "support/Json.h"
#include "support/TLLog.h"

namespace tolvana::server {

void answerJson(httplib::Response& response, const Value& body, int status) {
  response.status = status;
  response.set_content(json::serialize(body), "application/json");
}

void refuse(const httplib::Request& request, httplib::Response& response, int status, const std::string& reason) {
  TLLog::sharedInstance().log(TLLog::tag(), status >= 500 ? TLLog::kError : TLLog::kWarning, "%@ %@ from %@: %@ %@",
                              request.method, request.path, request.remote_addr, status, reason);
  answerJson(response, Value::Dictionary{{"error", reason}}, status);
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
