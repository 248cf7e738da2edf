// Runs the reference server in the foreground until SIGINT or SIGTERM: the loop behind both
// "tolvana-devserver" and "tolvana serve".
#pragma once

#include <string>

#include "DevServer.h"

namespace tolvana::devserver {

// Prints "listening on <URL>" on standard output once the server is up. Returns true after a
// stop signal, false with the reason when the server cannot start.
bool serveUntilStopped(const DevServerOptions& options, std::string* error);

}  // namespace tolvana::devserver
