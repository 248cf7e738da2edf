// The C interface's dictionaries: the facade's maps laid out once, so that a host or a binding
// reads each string where it lies.
#include <algorithm>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "facade/CInterface.h"
#include "tolvana/tolvana.h"

struct tolvana_dictionary {
  // Sorted by key, as the facade's maps come.
  std::vector<std::string> keys;
  std::vector<std::string> values;
  // Beside values, for a dictionary of languages; empty otherwise.
  std::vector<tolvana_dictionary> inner;

  bool holds(size_t index) const { return index < keys.size(); }
};

namespace tolvana::c {
namespace {

tolvana_dictionary* dictionaryOf(const std::map<std::string, std::string>& map) {
  auto dictionary = std::make_unique<tolvana_dictionary>();
  dictionary->keys.reserve(map.size());
  dictionary->values.reserve(map.size());
  for (const auto& [key, value] : map) {
    dictionary->keys.push_back(key);
    dictionary->values.push_back(value);
  }
  return dictionary.release();
}

tolvana_dictionary* dictionaryOf(const Tolvana::LanguageMap& map) {
  auto dictionary = std::make_unique<tolvana_dictionary>();
  for (const auto& [language, texts] : map) {
    dictionary->keys.push_back(language);
    std::unique_ptr<tolvana_dictionary> inner(dictionaryOf(texts));
    dictionary->inner.push_back(std::move(*inner));
  }
  return dictionary.release();
}

// A dictionary that is empty when the engine fails; NULL only without memory.
template <class Body>
tolvana_dictionary* dictionary(const char* function, Body&& body) {
  tolvana_dictionary* result = guarded(function, static_cast<tolvana_dictionary*>(nullptr), [&] { return body(); });
  return result ? result : new (std::nothrow) tolvana_dictionary();
}

}  // namespace
}  // namespace tolvana::c

using tolvana::Tolvana;

extern "C" {

size_t tolvana_dictionary_count(const tolvana_dictionary* dictionary) { return dictionary ? dictionary->keys.size() : 0; }

const char* tolvana_dictionary_key_at(const tolvana_dictionary* dictionary, size_t index) {
  return dictionary && dictionary->holds(index) ? dictionary->keys[index].c_str() : nullptr;
}

const char* tolvana_dictionary_value_at(const tolvana_dictionary* dictionary, size_t index) {
  return dictionary && index < dictionary->values.size() ? dictionary->values[index].c_str() : nullptr;
}

const tolvana_dictionary* tolvana_dictionary_dictionary_at(const tolvana_dictionary* dictionary, size_t index) {
  return dictionary && index < dictionary->inner.size() ? &dictionary->inner[index] : nullptr;
}

const char* tolvana_dictionary_get(const tolvana_dictionary* dictionary, const char* key) {
  if (!dictionary || !key) return nullptr;
  auto at = std::lower_bound(dictionary->keys.begin(), dictionary->keys.end(), std::string_view(key));
  if (at == dictionary->keys.end() || *at != key) return nullptr;
  return tolvana_dictionary_value_at(dictionary, static_cast<size_t>(at - dictionary->keys.begin()));
}

void tolvana_dictionary_free(tolvana_dictionary* dictionary) { delete dictionary; }

tolvana_dictionary* tolvana_localized_strings_for_language(const char* language) {
  return tolvana::c::dictionary(__func__, [&] {
    if (!language) {
      tolvana::logError("tolvana_localized_strings_for_language: the language is NULL");
      return tolvana::c::dictionaryOf(std::map<std::string, std::string>());
    }
    return tolvana::c::dictionaryOf(Tolvana::localizedStringsForLanguage(language));
  });
}

tolvana_dictionary* tolvana_localized_strings_for_current_language(void) {
  return tolvana::c::dictionary(__func__,
                                [] { return tolvana::c::dictionaryOf(Tolvana::localizedStringsForCurrentLanguage()); });
}

tolvana_dictionary* tolvana_localize_map(const char* const* languages, const char* const* keys,
                                         const char* const* default_values, size_t count) {
  return tolvana::c::dictionary(__func__, [&] {
    Tolvana::LanguageMap request;
    for (size_t i = 0; languages && keys && i < count; ++i) {
      if (!languages[i] || !keys[i]) continue;
      const char* defaultValue = default_values ? default_values[i] : nullptr;
      request[languages[i]][keys[i]] = defaultValue ? defaultValue : "";
    }
    return tolvana::c::dictionaryOf(Tolvana::localizeMap(request));
  });
}

}  // extern "C"
