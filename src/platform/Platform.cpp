#include "tolvana/platform/Platform.h"

#include <atomic>
#include <cstdlib>
#include <utility>
#include <vector>

#include "platform/PlatformLog.h"
#include "platform/headless/RecordingUi.h"
#include "platform/posix/CurlHttp.h"
#include "platform/posix/DirectoryBundle.h"
#include "platform/posix/IcuLocale.h"
#include "platform/posix/LinuxPorts.h"
#include "platform/posix/PlistFileUserDefaults.h"
#include "platform/posix/PosixDevice.h"
#include "platform/posix/StderrLogSink.h"
#include "platform/posix/SystemClock.h"
#include "platform/posix/ThreadDispatch.h"
#include "support/Mutex.h"

namespace tolvana {

Platform::Platform(Ports ports) : ports_(std::move(ports)) {
  if (!ports_.bundles || !ports_.userDefaults || !ports_.locale || !ports_.device || !ports_.dispatch ||
      !ports_.clock || !ports_.ui || !ports_.logSink || !ports_.http) {
    // A half-built platform would crash later in some unrelated place; fail where the mistake is.
    std::abort();
  }
}

Platform::~Platform() { ports_.dispatch.reset(); }

namespace {

class PreferredLanguagesOverride final : public Locale {
 public:
  PreferredLanguagesOverride(std::shared_ptr<Locale> inner, std::vector<std::string> languages)
      : inner_(std::move(inner)), languages_(std::move(languages)) {}
  std::vector<std::string> preferredLanguages() const override { return languages_; }
  std::optional<std::string> currentRegion() const override { return inner_->currentRegion(); }
  LocaleComponents componentsFromLocaleIdentifier(std::string_view identifier) const override {
    return inner_->componentsFromLocaleIdentifier(identifier);
  }

 private:
  std::shared_ptr<Locale> inner_;
  std::vector<std::string> languages_;
};

}  // namespace

// The Linux ports depend on each other only through late-bound functions: the bundles need
// the preferred languages, which need the user defaults, whose domain is the main bundle's
// identifier.
Platform::Ports makeLinuxPorts(const LinuxPortOptions& options) {
  Platform::Ports ports;
  std::string mainPath = options.mainBundlePath.value_or(defaultMainBundlePath());
  auto locale = std::make_shared<std::shared_ptr<Locale>>();
  ports.bundles = makeDirectoryBundles(mainPath, [locale] {
    return *locale ? (*locale)->preferredLanguages() : std::vector<std::string>{};
  });
  std::string domain = ports.bundles->mainBundle()->bundleIdentifier().value_or("tolvana.unidentified-app");
  ports.userDefaults = makePlistFileUserDefaults(options.userDefaultsFile.value_or(defaultUserDefaultsPath(domain)));
  *locale = makeIcuLocale(ports.userDefaults);
  if (options.preferredLanguages) {
    *locale = std::make_shared<PreferredLanguagesOverride>(*locale, *options.preferredLanguages);
  }
  ports.locale = *locale;
  ports.device = makePosixDevice(options.dataDirectory);
  ports.dispatch = makeThreadDispatch();
  ports.clock = makeSystemClock();
  ports.ui = std::make_shared<RecordingUi>();
  ports.logSink = makeStderrLogSink();
  CurlHttpOptions httpOptions{.extraCaFile = options.extraCaFile, .proxy = {}};
  if (options.maxAnswerBytes) httpOptions.maxBodyBytes = *options.maxAnswerBytes;
  httpOptions.onBodyBytes = options.onAnswerBytes;
  ports.http = makeCurlHttp(ports.dispatch, std::move(httpOptions));
  return ports;
}

namespace {

std::atomic<Platform*> current{nullptr};

Mutex& installedMutex() {
  static auto* m = new Mutex;
  return *m;
}

// The installed platform that is current; one it replaces goes when its last holder does.
std::shared_ptr<Platform>& installed() TL_REQUIRES(installedMutex()) {
  static auto* p = new std::shared_ptr<Platform>;
  return *p;
}

}  // namespace

namespace {
thread_local bool building = false;
}

bool buildingDefaultPlatform() { return building; }

Platform& Platform::Default() {
  static Platform* platform = [] {
    building = true;
    auto* p = new Platform(makeLinuxPorts());
    building = false;
    return p;
  }();
  return *platform;
}

Platform& Platform::Current() {
  if (Platform* p = current.load(std::memory_order_acquire)) return *p;
  Platform& fallback = Default();
  Platform* expected = nullptr;
  current.compare_exchange_strong(expected, &fallback, std::memory_order_acq_rel);
  return *current.load(std::memory_order_acquire);
}

void Platform::Install(std::shared_ptr<Platform> platform) {
  std::shared_ptr<Platform> replaced;
  {
    LockGuard lock(installedMutex());
    current.store(platform ? platform.get() : &Default(), std::memory_order_release);
    replaced = std::exchange(installed(), std::move(platform));
  }
  // Released here, outside the lock: its dispatch waits for its running tasks, which may
  // ask for the current platform.
  replaced.reset();
}

}  // namespace tolvana
