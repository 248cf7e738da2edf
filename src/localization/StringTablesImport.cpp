#include "localization/StringTablesImport.h"

#include <filesystem>
#include <mutex>
#include <set>

#include "config/ProcessState.h"
#include "config/TLSettings.h"
#include "localization/DevelopmentLanguage.h"
#include "localization/TLPluralRule.h"
#include "platform/StringsTable.h"
#include "support/StringUtil.h"
#include "support/TLLog.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {

namespace {

bool searchAllFromSettings() {
  auto value = TLSettings::objectForInfoDictionaryKey("TolvanaSearchIDsInAllBundles");
  return value ? value->boolValue() : Value("FALSE").boolValue();
}

// Read once per process on first use inside the import, and kept.
bool searchAllBundlesCached() { return ProcessState::get().searchAllBundles.get(searchAllFromSettings); }

bool importsTable(const Bundle& bundle, const std::string& table) {
  if (table == "InfoPlist") return false;
  if (searchAllBundlesCached() || table == "Localizable") return true;
  if (bundle.pathForResource(table, "storyboardc") || bundle.pathForResource(table, "nib")) return true;
  return TLSettings::additionalStringFiles().count(table) > 0;
}

// The variable names of a plural format: each "%#@name@" token, without duplicates.
std::set<std::string> pluralVariables(const std::string& format) {
  std::set<std::string> names;
  for (std::size_t at = format.find("%#@"); at != std::string::npos; at = format.find("%#@", at + 1)) {
    std::size_t end = format.find_first_of("@\n", at + 3);
    if (end != std::string::npos && format[end] == '@') names.insert(format.substr(at + 3, end - at - 3));
  }
  return names;
}

void replaceAll(std::string& text, const std::string& token, const std::string& replacement) {
  for (std::size_t at = text.find(token); at != std::string::npos; at = text.find(token, at + replacement.size())) {
    text.replace(at, token.size(), replacement);
  }
}

}  // namespace

void StringTablesImport::fillMissingStringsFromLocalStrings() const {
  Bundles& bundles = Platform::Current().bundles();
  bool searchAll = searchAllFromSettings();
  auto frameworks = TLSettings::additionalFrameworks();
  if (!frameworks.empty()) {
    for (const auto& framework : bundles.allFrameworks()) {
      if (frameworks.count(deletingPathExtension(lastPathComponent(framework->bundlePath())))) {
        fillMissingStringsFromLocalStringsAndBundle(*framework);
      }
    }
  }
  if (searchAll) {
    for (const auto& bundle : bundles.allBundles()) fillMissingStringsFromLocalStringsAndBundle(*bundle);
  } else {
    fillMissingStringsFromLocalStringsAndBundle(*bundles.mainBundle());
  }
}

void StringTablesImport::fillMissingStringsFromLocalStringsAndBundle(const Bundle& bundle) const {
  forEachLocalString(bundle, [this](const std::string& language, const std::string& key, const std::string& text) {
    auto stored = context_.lookup.localizedStringForKeyAndLanguage(key, language);
    if (!stored || (stored->empty() && !text.empty())) context_.recordMiss(language, key, text);
  });
}

void StringTablesImport::forEachLocalString(const Bundle& bundle, const LocalStringVisitor& visit) const {
  std::string mainPath = Platform::Current().bundles().mainBundle()->bundlePath();
  std::vector<std::string> languages = bundle.localizations();
  if (languages.empty()) {
    auto language = bundle.developmentLocalization();
    if (!language) language = context_.languages.getBaseLanguage();
    if (language) {
      languages.push_back(*language);
    }
  }
  for (const auto& folder : languages) {
    for (const auto& path : bundle.pathsForResourcesOfType("strings", "", folder)) {
      std::string file = lastPathComponent(path);
      std::string table = deletingPathExtension(file);
      if (!importsTable(bundle, table)) continue;
      std::string language = folder;
      if (folder == "Base" || path == mainPath + "/" + file) {
        language = languageCodeOrNothing(bundle.developmentLocalization())
                       .value_or(context_.languages.getBaseLanguage().value_or(""));
      }
      // Unreadable tables contribute nothing, without a word.
      for (const auto& [key, text] : strings::readDictionaryFile(path).value_or(Value::Dictionary{})) {
        if (text.isString()) visit(language, key, text.asString());
      }

      std::error_code ec;
      if (!std::filesystem::exists(path + "dict", ec)) continue;
      for (const auto& [key, entry] : strings::readDictionaryFile(path + "dict").value_or(Value::Dictionary{})) {
        const Value* format = entry.find("NSStringLocalizedFormatKey");
        if (!format || !format->isString()) continue;
        std::set<std::string> variables = pluralVariables(format->asString());
        if (variables.size() >= 2) {
          logWarning("Warning: Tolvana currently only properly supports one native pluralisation parameter. ID: %@ "
                     "contains: %ld wich will appear merged in the dashboard.",
                     key, static_cast<long>(variables.size()));
        }
        std::map<std::string, std::string> forms;
        for (const auto& variable : variables) {
          const Value* spec = entry.find(variable);
          const Value* type = spec ? spec->find("NSStringFormatSpecTypeKey") : nullptr;
          if (!type || !type->isString() || type->asString() != "NSStringPluralRuleType") continue;
          for (std::int64_t rule = 0; rule <= 5; ++rule) {
            std::string word(*pluralRuleWord(rule));
            const Value* form = spec->find(word);
            if (!form || !form->isString()) continue;
            auto [it, fresh] = forms.try_emplace(word, format->asString());
            replaceAll(it->second, "%#@" + variable + "@", form->asString());
          }
        }
        for (const auto& [word, text] : forms) visit(language, key + "[" + word + "]", text);
      }
    }
  }
}

}  // namespace tolvana
