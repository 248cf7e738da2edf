// The development language of a bundle as a language code, and the once-per-process warning
// that misses go to it rather than to the project's base language.
#pragma once

#include <optional>
#include <string>

namespace tolvana {

// Nothing for names that are no language codes ("Base", "English": three or more
// characters without a hyphen); "en", "de" and "pt-BR" pass.
std::optional<std::string> languageCodeOrNothing(std::optional<std::string> name);

// Logs the warning the first time in the process that a development language is present.
// The two languages come from different sources (the bundle and the store), so it is
// reported even when they name the same language: the host should know where its strings go.
void warnOnceAboutDevelopmentLanguage(const std::optional<std::string>& development,
                                      const std::optional<std::string>& base);

}  // namespace tolvana
