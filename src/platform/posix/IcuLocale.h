// The Linux Locale: ICU for identifiers; preferred languages from the app's "AppleLanguages"
// user default, else LANGUAGE, LC_ALL, LC_MESSAGES and LANG.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/posix/Environment.h"
#include "tolvana/platform/Locale.h"
#include "tolvana/platform/UserDefaults.h"

namespace tolvana {

// Splits an identifier with ICU ("zh-Hans-CN", "en_US", "fil-PH").
LocaleComponents icuLocaleComponents(std::string_view identifier);

// defaults may be null (no "AppleLanguages"); environment defaults to the process environment.
std::shared_ptr<Locale> makeIcuLocale(std::shared_ptr<UserDefaults> defaults, EnvironmentFn environment = {});

}  // namespace tolvana
