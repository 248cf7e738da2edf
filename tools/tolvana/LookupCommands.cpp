// tolvana lookup / plural: the engine's look-up exactly as a host gets it, and the plural
// form a quantity takes.
#include <chrono>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <thread>

#include "Commands.h"
#include "Printable.h"
#include "localization/TLPluralRule.h"
#include "support/StringUtil.h"

namespace tolvana::cli {

namespace {

struct LookupArguments {
  std::string key;
  std::optional<std::string> defaultText, pluralWord, language;
  std::optional<std::uint64_t> quantity;
  std::vector<std::string> arguments;
  bool draft = false, showIds = false, json = false, sendMissing = false;
};

std::map<std::string, std::string> parseArguments(const std::vector<std::string>& pairs) {
  std::map<std::string, std::string> arguments;
  for (const auto& pair : pairs) {
    auto equals = pair.find('=');
    if (equals == std::string::npos || equals == 0) throw UsageError("--arg wants NAME=VALUE, not '" + pair + "'");
    arguments[pair.substr(0, equals)] = pair.substr(equals + 1);
  }
  return arguments;
}

std::string describe(const TLLocalizedString& result) {
  switch (result.source) {
    case TLLookupSource::engineOff: return "bundle (engine off)";
    case TLLookupSource::language: return "language " + result.sourceLanguage;
    case TLLookupSource::bundleTable: return "bundle table";
    case TLLookupSource::defaultValue: return "default";
    case TLLookupSource::key: return "key";
  }
  return "";
}

// A device language the app does not have is no error for a host, which silently falls back;
// someone checking a translation should hear which language answered instead.
void warnWhenLanguageMissing(TLInternal& engine, const std::string& language, const TLLocalizedString& result) {
  auto db = engine.database();
  if (!db || !db->initialized()) return;
  std::string code = toLower(language);
  std::string languagePart = code.substr(0, code.find_first_of("-_"));
  if (db->isLanguageSupported(code) || db->isLanguageSupported(languagePart)) return;
  std::fprintf(stderr, "tolvana: warning: the app has no language '%s'; the text comes from the %s\n",
               printable(language).c_str(), describe(result).c_str());
}

// A host keeps running while the quiet period passes and the misses go up; this process has
// to wait for it.
void waitForMissingUpload(Session& session, TLInternal& engine) {
  std::size_t count = 0;
  for (const auto& [language, keys] : engine.missingEntries()) count += keys.size();
  if (count == 0) {
    std::fprintf(stderr, "no missing strings to upload\n");
    return;
  }
  std::fprintf(stderr, "uploading %zu missing string%s after the quiet period...\n", count, count == 1 ? "" : "s");
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(40);
  while (std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    if (engine.missingEntries().empty()) {
      std::fprintf(stderr, "uploaded %zu missing string%s\n", count, count == 1 ? "" : "s");
      return;
    }
    if (!engine.missingEntryUpdateQueued() && !engine.isFetchingLocalisationTexts()) break;
  }
  throw CommandError(session.withEngineError("the missing strings were not uploaded"));
}

void lookup(Session& session, const LookupArguments& args) {
  auto arguments = parseArguments(args.arguments);
  session.options().language = args.language;
  auto engine = session.engine();
  if (args.draft) {
    engine->setDraftModeEnabled(true);
    engine->setInDraftMode(true);
  }
  if (args.showIds) engine->setInShowIdMode(true);

  std::optional<std::string_view> defaultText;
  if (args.defaultText) defaultText = *args.defaultText;
  TLLocalizedString result;
  std::optional<std::int64_t> rule;
  if (args.pluralWord) {
    rule = engine->pluralRuleFromString(*args.pluralWord);
    if (*rule < 0) throw UsageError("no plural rule '" + *args.pluralWord + "' (zero, one, two, few, many, other)");
  } else if (args.quantity) {
    rule = TLPluralRuleForQuantity(*args.quantity);
  }
  if (rule) {
    result = engine->localizedStringForKeyWithArgumentsAndPluralRule(args.key, &arguments, *rule, defaultText);
  } else if (!arguments.empty()) {
    result = engine->localizedStringForKeyWithArguments(args.key, &arguments, defaultText);
  } else {
    result = engine->localizedStringForKey(args.key, defaultText);
  }

  if (args.language) warnWhenLanguageMissing(*engine, *args.language, result);
  if (args.json) {
    nlohmann::json out{{"text", result.text}, {"key", args.key}, {"source", describe(result)}};
    if (rule) out["plural"] = std::string(pluralRuleWord(*rule).value_or(""));
    if (result.key) out["taggedKey"] = *result.key;
    std::printf("%s\n", out.dump().c_str());
  } else {
    std::printf("%s\n", result.text.c_str());
  }
  std::fflush(stdout);
  if (args.sendMissing) waitForMissingUpload(session, *engine);
}

// "de-AT", "pt_BR", "fil" → the language part the plural tables are keyed by.
std::string languagePart(const std::string& code) {
  std::string language = toLower(code.substr(0, code.find_first_of("-_")));
  if (language.size() < 2 || language.size() > 3 ||
      language.find_first_not_of("abcdefghijklmnopqrstuvwxyz") != std::string::npos) {
    throw UsageError("'" + code + "' is no language code");
  }
  return language;
}

}  // namespace

void addLookupCommands(CLI::App& app, Session& session) {
  auto args = std::make_shared<LookupArguments>();
  auto* lookupCommand = app.add_subcommand("lookup", "Look a key up as the host would, and print the text");
  lookupCommand->add_option("KEY", args->key, "The key")->required();
  lookupCommand->add_option("--default", args->defaultText, "The text the host passes as the default");
  lookupCommand->add_option("--arg", args->arguments, "An argument NAME=VALUE for a %{NAME} placeholder (repeatable)");
  auto* plural = lookupCommand->add_option("--plural", args->pluralWord, "The plural form: zero, one, two, few, many, other");
  lookupCommand
      ->add_option("--quantity", args->quantity, "A quantity (0 or more), whose plural form the device language decides")
      ->check([](const std::string& text) {
        return text.starts_with("-") ? "a quantity is 0 or more, not " + text : std::string();
      })
      ->excludes(plural);
  lookupCommand->add_option("--language", args->language, "Look up as if the device preferred this language");
  lookupCommand->add_flag("--draft", args->draft, "Draft mode: show the translators' drafts where there are any");
  lookupCommand->add_flag("--show-ids", args->showIds, "Show-ID mode: show keys instead of texts");
  lookupCommand->add_flag("--json", args->json, "Print text, key and the source that answered as JSON");
  lookupCommand->add_flag("--send-missing", args->sendMissing, "Wait until a miss this look-up recorded is uploaded");
  lookupCommand->callback([&session, args] { lookup(session, *args); });

  struct PluralArguments {
    std::string language;
    std::uint64_t quantity = 0;
  };
  auto pluralArgs = std::make_shared<PluralArguments>();
  auto* pluralCommand = app.add_subcommand("plural", "The plural form a quantity takes in a language");
  pluralCommand->add_option("--language", pluralArgs->language, "The language code")->required();
  pluralCommand->add_option("N", pluralArgs->quantity, "The quantity")->required();
  pluralCommand->callback([pluralArgs] {
    std::string language = languagePart(pluralArgs->language);
    if (!hasPluralTable(language)) {
      warn("no plural rules for '" + printable(pluralArgs->language) +
           "'; the answer is that of most languages (one for 1, other for the rest)");
    }
    TLPluralRule rule = language.size() == 2 ? GetPluralRuleForISO6391(pluralArgs->quantity, language)
                                             : GetPluralRuleForISO6392(pluralArgs->quantity);
    std::printf("%s\n", std::string(pluralRuleWord(rule).value_or("other")).c_str());
  });
}

}  // namespace tolvana::cli
