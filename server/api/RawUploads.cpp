#include "RawUploads.h"

namespace tolvana::devserver {
namespace {

constexpr const char* kUploadTypeHeader = "X-Devserver-Upload-Content-Type";

}  // namespace

void readUploadsRaw(httplib::Server& server) {
  server.set_pre_routing_handler([](const httplib::Request& request, httplib::Response&) {
    if (request.path.ends_with("/uploadScreenshot") && request.is_multipart_form_data()) {
      // The Request is not const at its origin, so the cast is well-defined.
      auto& raw = const_cast<httplib::Request&>(request);
      raw.set_header(kUploadTypeHeader, raw.get_header_value("Content-Type"));
      raw.headers.erase("Content-Type");
      raw.set_header("Content-Type", "application/octet-stream");
    }
    return httplib::Server::HandlerResponse::Unhandled;
  });
}

std::string uploadContentType(const httplib::Request& request) {
  return request.get_header_value(kUploadTypeHeader);
}

}  // namespace tolvana::devserver
