#include "Session.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <mutex>
#include <string_view>

#include <unistd.h>

#include "Printable.h"
#include "config/TLDeviceUtil.h"
#include "platform/posix/DirectoryBundle.h"
#include "platform/posix/LinuxPorts.h"
#include "sync/HttpFailure.h"
#include "tolvana/platform/Platform.h"

namespace tolvana::cli {

namespace {

namespace fs = std::filesystem;

// Keeps the engine's lines; echoes them when asked.
class CapturingLogSink final : public LogSink {
 public:
  explicit CapturingLogSink(bool echo) : echo_(echo) {}
  void writeLine(std::string_view line) override {
    std::lock_guard lock(mutex_);
    // Lines read "<level letter>/<tag>\uFE55 <text>"; errors are the ones a failure explains.
    if (line.starts_with("E/")) {
      auto separator = line.find("\xEF\xB9\x95 ");
      lastError_ = std::string(separator == std::string_view::npos ? line : line.substr(separator + 4));
    }
    if (echo_) std::fprintf(stderr, "%.*s\n", static_cast<int>(line.size()), line.data());
  }
  std::optional<std::string> lastError() const {
    std::lock_guard lock(mutex_);
    return lastError_;
  }

 private:
  bool echo_;
  mutable std::mutex mutex_;
  std::optional<std::string> lastError_;
};

// Alerts have no window to go to: they are shown as lines on standard error.
class StderrUi final : public Ui {
 public:
  explicit StderrUi(std::string bundle) : bundle_(std::move(bundle)) {}
  void presentAlert(Alert alert) override {
    std::fprintf(stderr, "alert: %s — %s\n", printable(alert.title).c_str(), printable(alert.message).c_str());
    // The alert sends the developer to a dashboard; with a server of one's own the archive is
    // made here.
    if (alert.message.find("settings file missing or outdated") != std::string::npos) {
      std::fprintf(stderr, "hint: make it with: tolvana pack --app-file app.json --strings LANG=TEXTS.json -o %s\n",
                   printable((bundle_.empty() ? "BUNDLE" : bundle_) + "/tolvana_settings.tolvana").c_str());
    }
  }
  void installLookupHooks() override {}
  void showOverlay(UiOverlay) override {}
  void focusOverlayControl(const std::string&) override {}
  void removeOverlay() override {}
  void addLongPressGesture(std::function<void()>) override {}
  void addSwipeGestures(std::function<void()>) override {}
  std::optional<UiView> rootWindowView() override { return std::nullopt; }
  UiScreen mainScreen() override { return {}; }
  std::string rootWindowPng() override { return ""; }
  std::optional<std::string> pasteboardString() override { return std::nullopt; }
  void setPasteboardString(const std::string&) override {}

 private:
  const std::string bundle_;
};

// Remembers why the last exchange failed and, when tracing, describes each exchange on
// standard output before handing it on.
class WatchingHttp final : public Http, public std::enable_shared_from_this<WatchingHttp> {
 public:
  explicit WatchingHttp(std::shared_ptr<Http> inner) : inner_(std::move(inner)) {}
  void trace() { trace_ = true; }
  std::optional<std::string> lastFailure() const {
    std::lock_guard lock(mutex_);
    return lastFailure_;
  }

  void send(HttpRequest request, std::function<void(HttpResponse)> completion) override {
    if (trace_) {
      std::printf("> %s %s\n", request.method.c_str(), request.url.c_str());
      for (const auto& [name, value] : request.headers) std::printf(">   %s: %s\n", name.c_str(), value.c_str());
      if (!request.body.empty()) std::printf(">   (%zu bytes of body)\n", request.body.size());
      std::fflush(stdout);
    }
    std::string url = request.url;
    double timeout = request.requestTimeout;
    auto self = shared_from_this();
    inner_->send(std::move(request), [self, url, timeout, completion = std::move(completion)](HttpResponse response) {
      if (self->trace_) {
        if (response.error) {
          std::printf("< no answer: %s\n", response.error->c_str());
        } else {
          std::printf("< %d, %zu bytes\n", response.status, response.body.size());
        }
        std::fflush(stdout);
      }
      {
        std::lock_guard lock(self->mutex_);
        self->lastFailure_ = httpFailureCause(url, timeout, response);
      }
      completion(std::move(response));
    });
  }

 private:
  std::shared_ptr<Http> inner_;
  std::atomic<bool> trace_{false};
  mutable std::mutex mutex_;
  std::optional<std::string> lastFailure_;  // guarded by mutex_
};

std::string absolute(const std::string& path) { return fs::absolute(path).lexically_normal().string(); }

}  // namespace

struct Session::Impl {
  std::shared_ptr<CapturingLogSink> log;
  std::shared_ptr<WatchingHttp> http;  // lives as long as the session, which outlives every request
  std::atomic<std::size_t> answerBytes{0};
  std::optional<Platform::Ports> ports;
  bool installed = false;
};

Session::Session(SessionOptions options) : options_(std::move(options)), impl_(std::make_unique<Impl>()) {}
Session::~Session() = default;

void Session::requireApp() {
  if (impl_->ports) return;
  LinuxPortOptions portOptions;
  std::string bundle = options_.bundle.empty() ? defaultMainBundlePath() : absolute(options_.bundle);
  if (!fs::is_directory(bundle)) throw CommandError("no app bundle at " + bundle + " (no such directory)");
  if (!fs::is_regular_file(fs::path(bundle) / "Info.plist")) {
    throw CommandError("no app bundle at " + bundle + " (it has no Info.plist)");
  }
  portOptions.mainBundlePath = bundle;
  if (!options_.defaults.empty()) portOptions.userDefaultsFile = absolute(options_.defaults);
  if (!options_.dataDir.empty()) portOptions.dataDirectory = absolute(options_.dataDir);
  trustCaFile(portOptions);
  if (options_.language) portOptions.preferredLanguages = std::vector<std::string>{*options_.language};
  portOptions.onAnswerBytes = [impl = impl_.get()](std::size_t received) { impl->answerBytes = received; };
  Platform::Ports ports = makeLinuxPorts(portOptions);
  capture(ports, bundle);
  impl_->http = std::make_shared<WatchingHttp>(ports.http);
  ports.http = impl_->http;
  impl_->ports = std::move(ports);
}

// Commands without an app talk to servers too (import, export), so --ca counts for them alike.
void Session::trustCaFile(LinuxPortOptions& portOptions) const {
  if (options_.caFile.empty()) return;
  if (!fs::is_regular_file(options_.caFile)) throw CommandError("no certificate file " + options_.caFile);
  portOptions.extraCaFile = absolute(options_.caFile);
}

void Session::capture(Platform::Ports& ports, const std::string& bundle) {
  impl_->log = std::make_shared<CapturingLogSink>(options_.echoLog);
  ports.logSink = impl_->log;
  ports.ui = std::make_shared<StderrUi>(bundle);
}

void Session::installWithoutApp() {
  if (!options_.bundle.empty()) return install();
  if (impl_->installed) return;
  LinuxPortOptions portOptions;
  trustCaFile(portOptions);
  Platform::Ports ports = makeLinuxPorts(portOptions);
  capture(ports, "");
  Platform::Install(std::make_shared<Platform>(std::move(ports)));
  impl_->installed = true;
}

void Session::traceHttp() {
  requireApp();
  impl_->http->trace();
}

std::size_t Session::answerBytesReceived() const { return impl_->answerBytes; }

std::optional<std::string> Session::lastHttpFailure() const {
  return impl_->http ? impl_->http->lastFailure() : std::nullopt;
}

void Session::install() {
  requireApp();
  if (impl_->installed) return;
  Platform::Install(std::make_shared<Platform>(*impl_->ports));
  impl_->installed = true;
}

std::shared_ptr<TLInternal> Session::engine() {
  install();
  return TLInternal::sharedInstance();
}

std::shared_ptr<TLDatabase> Session::initializedDatabase() {
  auto db = engine()->database();
  if (!db || !db->initialized()) {
    // The engine's own lines end with the archive that then could not be unpacked; the
    // directory it could not make is what the user has to fix.
    if (auto directory = TLDeviceUtil::userdataDirectory()) {
      std::error_code ec;
      fs::create_directories(*directory, ec);
      if (ec) throw CommandError("cannot create the data directory " + *directory + ": " + ec.message());
    }
    throw CommandError(withEngineError("the app is not initialised (does its bundle ship a settings archive?)"));
  }
  return db;
}

std::optional<std::string> Session::lastEngineError() const {
  return impl_->log ? impl_->log->lastError() : std::nullopt;
}

void Session::note(const std::string& line) const {
  if (!options_.quiet) std::printf("%s\n", line.c_str());
}

std::string Session::heading(const std::string& text) const {
  // Escape sequences only where someone sees them: not in files, pipes or dumb terminals,
  // and never against the NO_COLOR convention.
  const char* term = std::getenv("TERM");
  bool on = options_.color == "always" ||
            (options_.color == "auto" && isatty(STDOUT_FILENO) && !std::getenv("NO_COLOR") &&
             !(term && std::string_view(term) == "dumb"));
  return on ? "\033[1m" + text + "\033[0m" : text;
}

void Session::drainMainQueue() {
  if (!impl_->installed) return;
  // Tasks run in the order queued, so once this one ran every earlier one has, too. A queue
  // held up by a task that never ends does not keep the tool from exiting.
  auto drained = std::make_shared<std::promise<void>>();
  Platform::Current().dispatch().mainAsync([drained] { drained->set_value(); });
  drained->get_future().wait_for(std::chrono::seconds(5));
}

void Session::saveDefaults() {
  if (!Platform::Current().userDefaults().synchronize()) {
    throw CommandError(withEngineError("the app's defaults were not saved"));
  }
}

std::string Session::withEngineError(const std::string& message) const {
  auto error = lastEngineError();
  return error ? message + ": " + *error : message;
}

}  // namespace tolvana::cli
