#include "ServeUntilStopped.h"

#include <pthread.h>
#include <signal.h>

#include <cstdio>
#include <string>

namespace tolvana::server {

bool serveUntilStopped(const ServerOptions& options, Storage& storage, std::string* error) {
  // Block the stop signals before the server's threads start, so only sigwait sees them.
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGINT);
  sigaddset(&stopSignals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

  TranslationServer server(options, storage);
  if (!server.start(error)) return false;
  std::printf("listening on %s\n", server.baseUrl().c_str());
  std::fflush(stdout);
  int signal = 0;
  sigwait(&stopSignals, &signal);
  server.stop();
  return true;
}

}  // namespace tolvana::server
