// A certificate for 127.0.0.1 and localhost, made at start so the server can speak HTTPS
// without any files; clients trust it by its PEM file.
#pragma once

#include <string>

namespace tolvana::server {

// Writes a new key and a certificate valid for one day; false with a reason on failure.
bool writeSelfSignedCertificate(const std::string& certificatePath, const std::string& keyPath, std::string* error);

}  // namespace tolvana::server
