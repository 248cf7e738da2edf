// Runs the translation server in the foreground until SIGINT or SIGTERM: the loop behind
// "tolvana-server".
#pragma once

#include <string>

#include "TranslationServer.h"

namespace tolvana::server {

// Prints "listening on <URL>" on standard output once the server is up. Returns true after a
// stop signal, false with the reason when the server cannot start.
bool serveUntilStopped(const ServerOptions& options, Storage& storage, std::string* error);

}  // namespace tolvana::server
