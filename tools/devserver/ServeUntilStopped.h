// Runs the reference server in the foreground until SIGINT or SIGTERM: the loop behind both
// "tolvana-devserver" and "tolvana serve".
#pragma once

#include "DevServer.h"

namespace tolvana::devserver {

// Prints "listening on <URL>" on standard output once the server is up. Returns the exit
// status: 0 after a stop signal, 1 (with "<program>: <reason>" on standard error) when the
// server cannot start.
int serveUntilStopped(const DevServerOptions& options, const char* program);

}  // namespace tolvana::devserver
