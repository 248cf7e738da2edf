// Configuration: what a host says by call, before the engine starts, instead of through its
// environment: where its app bundle is, where the library keeps the app's data and defaults,
// how much it logs, and who runs the main queue. Anything left unset keeps its default, which
// the environment still gives (TOLVANA_MAIN_BUNDLE, XDG_DATA_HOME, XDG_CONFIG_HOME), so a
// host that sets nothing behaves as before.
//
//   tolvana::Configuration configuration;
//   configuration.bundlePath = "/opt/myapp/MyApp.app";
//   configuration.dataDirectory = "/var/lib/myapp";
//   tolvana::Tolvana::configure(configuration);
#pragma once

#include <functional>
#include <optional>
#include <string>

namespace tolvana {

struct Configuration {
  /// The app bundle (Info.plist, settings archive, string tables). Default: the directory
  /// TOLVANA_MAIN_BUNDLE names, else the running program's directory.
  std::optional<std::string> bundlePath;
  /// The directory the app's stores are kept below ("<it>/Tolvana/<bundle identifier>").
  /// Default: XDG_DATA_HOME, else ~/.local/share.
  std::optional<std::string> dataDirectory;
  /// The property-list file of the app's user defaults. Default:
  /// "$XDG_CONFIG_HOME/tolvana/<bundle identifier>.plist".
  std::optional<std::string> defaultsFile;
  /// The log threshold for every tag: 0 verbose, 1 debug, 2 info, 3 warning, 4 error,
  /// 5 assert; 6 or more silences the library. Default: the Info.plist's "TolvanaLogLevel".
  std::optional<int> logLevel;
  /// False: the main queue (update callbacks, notices, user-interface work) runs on a thread
  /// of the library's own. True: on the host's thread, each time it calls drainMainQueue().
  bool hostDrivesMainQueue = false;
  /// While the host drives the main queue: called, on whatever thread queued it, each time a
  /// task has been queued, so that the host's loop wakes and drains. It must return quickly
  /// and must not call the library.
  std::function<void()> mainQueueWakeup;
};

}  // namespace tolvana
