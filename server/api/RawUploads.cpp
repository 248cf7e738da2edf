#include "api/RawUploads.h"

namespace tolvana::server {
namespace {

constexpr const char* kUploadTypeHeader = "X-Upload-Content-Type";

}  // namespace

void keepUploadRaw(const httplib::Request& request) {
  if (!request.is_multipart_form_data()) return;
  // The Request is not const at its origin, so the cast is well-defined.
  auto& raw = const_cast<httplib::Request&>(request);
  raw.headers.erase(kUploadTypeHeader);
  raw.set_header(kUploadTypeHeader, raw.get_header_value("Content-Type"));
  raw.headers.erase("Content-Type");
  raw.set_header("Content-Type", "application/octet-stream");
}

std::string uploadContentType(const httplib::Request& request) { return request.get_header_value(kUploadTypeHeader); }

}  // namespace tolvana::server
