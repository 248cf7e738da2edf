#include "ServeUntilStopped.h"

#include <pthread.h>
#include <signal.h>

#include <cstdio>
#include <string>

namespace tolvana::devserver {

bool serveUntilStopped(const DevServerOptions& options, std::string* error) {
  // Block the stop signals before the server's threads start, so only sigwait sees them.
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGINT);
  sigaddset(&stopSignals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

  DevServer server(options);
  if (!server.start(error)) return false;
  std::printf("listening on %s\n", server.baseUrl().c_str());
  std::fflush(stdout);
  int signal = 0;
  sigwait(&stopSignals, &signal);
  server.stop();
  return true;
}

}  // namespace tolvana::devserver
