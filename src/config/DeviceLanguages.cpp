// The device language in its three forms (part of TLDeviceUtil).
#include <cstdlib>

#include "config/ProcessState.h"
#include "config/TLDeviceUtil.h"
#include "support/ReadEpoch.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {

namespace {

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

const DeviceLanguages& TLDeviceUtil::deviceLanguages() {
  return ProcessState::get().deviceLanguages.get([] { return DeviceLanguages{computeLong(), computeShort()}; });
}

std::string TLDeviceUtil::deviceLanguageLong() {
  ReadEpoch::Section section;
  return deviceLanguages().longCode;
}

std::string TLDeviceUtil::deviceLanguage() {
  ReadEpoch::Section section;
  return deviceLanguages().shortCode;
}

void TLDeviceUtil::forgetDeviceLanguages() {
  ProcessState& state = ProcessState::get();
  state.deviceLanguages.clear();
  state.answersChanged();
}

std::string TLDeviceUtil::deviceLocale() {
  std::string language = firstPreferredLanguage();
  return language == "fil" ? "tl" : language;
}

}  // namespace tolvana
