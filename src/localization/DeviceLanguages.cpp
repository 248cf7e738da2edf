// The device language in its three forms (part of TLDeviceUtil).
#include <cstdlib>
#include <mutex>

#include "sync/TLDeviceUtil.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {

namespace {

std::mutex cacheMutex;
std::string cachedLong;   // guarded by cacheMutex; empty means not computed
std::string cachedShort;  // guarded by cacheMutex; empty means not computed

std::string firstPreferredLanguage() {
  auto preferred = Platform::Current().locale().preferredLanguages();
  return preferred.empty() ? std::string() : preferred.front();
}

std::string computeLong() {
  Platform& platform = Platform::Current();
  std::string language = firstPreferredLanguage();
  LocaleComponents parts = platform.locale().componentsFromLocaleIdentifier(language);
  std::string code = parts.language == "fil" ? "tl" : parts.language;
  bool bareCode = language.size() == 2 || language.size() == 3;
  if (parts.script.empty() && bareCode && std::strtod(platform.device().systemVersion().c_str(), nullptr) < 9.0) {
    std::optional<std::string> country =
        parts.region.empty() ? platform.locale().currentRegion() : std::optional(parts.region);
    if (country && !country->empty()) language = code + "-" + *country;
  }
  if (parts.script == "Hans" || parts.script == "Hant") {
    language = code + "-" + parts.script;
  } else if (parts.script == "Latn" && code == "sr") {
    language = code + "-" + parts.script;
  }
  return language;
}

std::string computeShort() {
  std::string language =
      Platform::Current().locale().componentsFromLocaleIdentifier(firstPreferredLanguage()).language;
  return language == "fil" ? "tl" : language;
}

}  // namespace

// The computation runs outside the lock: a concurrent clear and read may compute twice,
// which is harmless because the answer is the same.
std::string TLDeviceUtil::deviceLanguageLong() {
  {
    std::lock_guard lock(cacheMutex);
    if (!cachedLong.empty()) return cachedLong;
  }
  std::string language = computeLong();
  std::lock_guard lock(cacheMutex);
  cachedLong = language;
  return language;
}

void TLDeviceUtil::deviceLanguageLong(std::optional<std::string> language) {
  std::lock_guard lock(cacheMutex);
  cachedLong = language.value_or("");
}

std::string TLDeviceUtil::deviceLanguage() {
  {
    std::lock_guard lock(cacheMutex);
    if (!cachedShort.empty()) return cachedShort;
  }
  std::string language = computeShort();
  std::lock_guard lock(cacheMutex);
  cachedShort = language;
  return language;
}

void TLDeviceUtil::deviceLanguage(std::optional<std::string> language) {
  std::lock_guard lock(cacheMutex);
  cachedShort = language.value_or("");
}

std::string TLDeviceUtil::deviceLocale() {
  std::string language = firstPreferredLanguage();
  return language == "fil" ? "tl" : language;
}

}  // namespace tolvana
