#include "localization/DevelopmentLanguage.h"

#include "config/ProcessState.h"
#include "support/StringUtil.h"
#include "support/TLLog.h"

namespace tolvana {

std::optional<std::string> languageCodeOrNothing(std::optional<std::string> name) {
  if (name && utf16Length(*name) >= 3 && !contains(*name, "-")) return std::nullopt;
  return name;
}

void warnOnceAboutDevelopmentLanguage(const std::optional<std::string>& development,
                                      const std::optional<std::string>& base) {
  if (!development || ProcessState::get().developmentLanguageWarned.exchange(true)) return;
  logWarning(
      "The Development Language(%@) of your app is different to your Tolvana Base Language(%@). Your strings will be "
      "uploaded to %@.",
      development, base, development);
}

}  // namespace tolvana
