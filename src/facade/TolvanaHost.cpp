// The facade's calls that set the library up for its host: configuration by call, the main
// queue a host drives, and the host's own log and change handlers.
#include "config/TLDeviceUtil.h"
#include "config/TextsChangedNotices.h"
#include "core/TLInternal.h"
#include "platform/posix/LinuxPorts.h"
#include "platform/posix/ThreadDispatch.h"
#include "support/Boundary.h"
#include "support/HostLogger.h"
#include "support/TLLog.h"
#include "tolvana/Tolvana.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {

namespace {

// The ports that say which app runs and where its data lives are replaced; the others (a
// toolkit adapter's interface and main queue) stay, unless the host drives the main queue.
void install(const Configuration& configuration) {
  Platform::Ports ports = Platform::Current().ports();
  setLinuxAppPorts(ports, LinuxPortOptions{.mainBundlePath = configuration.bundlePath,
                                           .userDefaultsFile = configuration.defaultsFile,
                                           .dataDirectory = configuration.dataDirectory,
                                           .extraCaFile = {},
                                           .maxAnswerBytes = {},
                                           .onAnswerBytes = {},
                                           .preferredLanguages = {}});
  if (configuration.hostDrivesMainQueue) {
    ports.dispatch = makeThreadDispatch({.hostDrivesMainQueue = true, .mainQueueWakeup = configuration.mainQueueWakeup});
  }
  Platform::Install(std::make_shared<Platform>(std::move(ports)));
  // What was worked out from the platform before (a line logged early, a plural rule asked
  // for) is worked out again from the configured app.
  TLLog::overrideThreshold(configuration.logLevel);
  TLLog::settingsReplaced();
  TLDeviceUtil::forgetDeviceLanguages();
}

}  // namespace

bool Tolvana::configure(const Configuration& configuration) {
  return guarded("configure", false, [&] {
    if (TLInternal::beforeStart([&] { install(configuration); })) return true;
    logError("configure: the engine has already started; the configuration was not applied.");
    return false;
  });
}

std::int64_t Tolvana::drainMainQueue() {
  return guarded("drainMainQueue", std::int64_t{-1}, [] { return drainHostMainQueue(Platform::Current().dispatch()); });
}

void Tolvana::setLogHandler(LogHandler handler) {
  guarded("setLogHandler", [&] { HostLogger::set(std::move(handler)); });
}

void Tolvana::setTextsChangedHandler(TextsChangedHandler handler) {
  guarded("setTextsChangedHandler", [&] { TextsChangedNotices::setHostHandler(std::move(handler)); });
}

}  // namespace tolvana
