// RawUploads: the screenshot upload's body as it came over the wire. The HTTP library hands
// a multipart body only to its own parser, part by part, which forgives what the upload must
// get exactly right; so, before the body is read, an upload's multipart type is moved aside
// and its bytes arrive raw.
#pragma once

#include <httplib.h>

#include <string>

namespace tolvana::server {

// Called before the body is read (from the pre-routing handler).
void keepUploadRaw(const httplib::Request& request);
// The Content-Type the client sent with an upload read raw.
std::string uploadContentType(const httplib::Request& request);

}  // namespace tolvana::server
