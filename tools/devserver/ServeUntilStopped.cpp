#include "ServeUntilStopped.h"

#include <pthread.h>
#include <signal.h>

#include <cstdio>
#include <string>

namespace tolvana::devserver {

int serveUntilStopped(const DevServerOptions& options, const char* program) {
  // Block the stop signals before the server's threads start, so only sigwait sees them.
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGINT);
  sigaddset(&stopSignals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

  DevServer server(options);
  std::string error;
  if (!server.start(&error)) {
    std::fprintf(stderr, "%s: %s\n", program, error.c_str());
    return 1;
  }
  std::printf("listening on %s\n", server.baseUrl().c_str());
  std::fflush(stdout);
  int signal = 0;
  sigwait(&stopSignals, &signal);
  server.stop();
  return 0;
}

}  // namespace tolvana::devserver
