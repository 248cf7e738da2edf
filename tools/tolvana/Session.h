// Session: what one run of the command-line tool works on — the app bundle, its data
// directory and defaults, the platform built for them and the engine started on it — and
// the two ways a command fails.
//
// The platform is built on first use, so commands that need no app (pack, plural, serve) run
// without one. Engine log lines are kept; they are echoed to standard error with --log, and
// the last error line explains a failed operation.
#pragma once

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/TLInternal.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {
struct LinuxPortOptions;
}

namespace tolvana::cli {

// A failed operation: exit status 1.
struct CommandError : std::runtime_error {
  using std::runtime_error::runtime_error;
};
// Bad usage: exit status 2.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct SessionOptions {
  std::string bundle;    // empty: the platform's main-bundle rules
  std::string dataDir;   // empty: the platform's data directory
  std::string defaults;  // empty: the app's defaults file
  std::string caFile;    // further certificate authorities for HTTPS
  bool echoLog = false;
  bool quiet = false;           // status lines ("updating from ...") left out
  std::string color = "auto";  // headings in bold: auto (on a terminal), always, never
  std::optional<std::string> language;  // replaces the preferred languages for this run
};

class Session {
 public:
  explicit Session(SessionOptions options);
  ~Session();

  SessionOptions& options() { return options_; }
  // Builds and installs the platform for the app; throws CommandError when there is no app
  // bundle where one is expected.
  void requireApp();
  // Installs the app's platform without starting the engine (nothing is unpacked or written).
  void install();
  // For commands that need no app: installs the app's platform when --bundle names one, else
  // the plain Linux one; either way the engine's log lines are captured.
  void installWithoutApp();
  // The started engine of the app.
  std::shared_ptr<TLInternal> engine();
  // The started engine's store manager, which must be initialised (the bundle ships a
  // settings archive).
  std::shared_ptr<TLDatabase> initializedDatabase();
  // Describes each request and answer on standard output.
  void traceHttp();

  // A status line on standard output, unless --quiet.
  void note(const std::string& line) const;
  // The text as a heading: bold when colour is on.
  std::string heading(const std::string& text) const;
  // Waits until what the engine queued for the main queue (alerts) has run.
  void drainMainQueue();
  // Writes the app's defaults; throws CommandError with the cause when they cannot be saved.
  void saveDefaults();
  // The size of the body of the answer being received (or received last) so far.
  std::size_t answerBytesReceived() const;
  // Why the last request to a server failed ("HTTP 401"), if it did.
  std::optional<std::string> lastHttpFailure() const;
  // The text of the last error the engine logged during this run, if any.
  std::optional<std::string> lastEngineError() const;
  // message, followed by the engine's last error when there is one.
  std::string withEngineError(const std::string& message) const;

 private:
  struct Impl;
  void capture(Platform::Ports& ports, const std::string& bundle);
  void trustCaFile(LinuxPortOptions& portOptions) const;

  SessionOptions options_;
  std::unique_ptr<Impl> impl_;
};

}  // namespace tolvana::cli
