// The C interface: a thin layer over the facade that turns C arrays and pointers into the
// facade's types and back; the boundary's guard keeps every C++ exception on this side.
#include <cstdlib>
#include <cstring>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "config/TLDeviceUtil.h"
#include "core/TLInternal.h"
#include "support/Boundary.h"
#include "support/StringUtil.h"
#include "support/TLLog.h"
#include "sync/CompletionOnce.h"
#include "tolvana/Tolvana.h"
#include "tolvana/platform/Platform.h"
#include "tolvana/tolvana.h"

namespace tolvana {
namespace {

char* copyOut(std::string_view text) {
  auto* copy = static_cast<char*>(std::malloc(text.size() + 1));
  if (!copy) return nullptr;
  std::memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  return copy;
}

std::optional<std::string_view> optionalText(const char* text) {
  if (!text) return std::nullopt;
  return std::string_view(text);
}

// A look-up of a string: a NULL key is the host's mistake, answered with an empty string.
template <class Body>
char* lookup(const char* function, const char* key, Body&& body) {
  char* text = guarded(function, static_cast<char*>(nullptr), [&] {
    if (key) return copyOut(body(std::string_view(key)));
    logError("%@: the key is NULL", function);
    return copyOut("");
  });
  return text ? text : copyOut(key ? key : "");
}

// A string result that is empty when the engine fails.
template <class Body>
char* text(const char* function, Body&& body) {
  char* result = guarded(function, static_cast<char*>(nullptr), [&] { return copyOut(body()); });
  return result ? result : copyOut("");
}

Tolvana::Arguments arguments(const char* const* names, const char* const* values, size_t count) {
  Tolvana::Arguments result;
  if (!names || !values) return result;
  for (size_t i = 0; i < count; ++i) {
    if (names[i] && values[i]) result[names[i]] = values[i];
  }
  return result;
}

std::vector<std::string> list(const char* const* items, size_t count) {
  std::vector<std::string> result;
  if (!items) return result;
  for (size_t i = 0; i < count; ++i) {
    if (items[i]) result.emplace_back(items[i]);
  }
  return result;
}

// The interface's own promise for update callbacks: exactly once, never inside the call that
// asked and never under the engine's lock. The engine's completion may come inside the call
// (the engine is off) and under its lock, or never (an answer that is no JSON object), so the
// outcome is settled once and the callback always goes through the main queue.
Tolvana::CompletionHandler completion(tolvana_update_callback callback, void* userData) {
  if (!callback) return nullptr;
  return completionOnce([callback, userData](bool success) {
    auto call = [callback, userData, success] { callback(success ? 1 : 0, userData); };
    bool queued = guarded("Queueing an update callback", false, [&] {
      Platform::Current().dispatch().mainAsync(call);
      return true;
    });
    // A main queue that cannot take it (no thread could be started) gets it run here: late
    // rather than never.
    if (!queued) call();
  });
}

}  // namespace
}  // namespace tolvana

using tolvana::Tolvana;

extern "C" {

void tolvana_string_free(char* string) { std::free(string); }

char* tolvana_localized_string(const char* key) {
  return tolvana::lookup(__func__, key, [](std::string_view k) { return Tolvana::localizedStringForKey(k); });
}

char* tolvana_localized_string_with_default(const char* key, const char* default_value) {
  return tolvana::lookup(__func__, key, [&](std::string_view k) {
    return Tolvana::localizedStringForKey(k, tolvana::optionalText(default_value));
  });
}

char* tolvana_localized_string_with_arguments(const char* key, const char* default_value, const char* const* names,
                                              const char* const* values, size_t count) {
  return tolvana::lookup(__func__, key, [&](std::string_view k) {
    return Tolvana::localizedStringForKey(k, tolvana::optionalText(default_value),
                                          tolvana::arguments(names, values, count));
  });
}

char* tolvana_localized_string_with_plural_rule(const char* key, const char* default_value, const char* const* names,
                                                const char* const* values, size_t count, int64_t plural_rule) {
  return tolvana::lookup(__func__, key, [&](std::string_view k) {
    return Tolvana::localizedStringForKey(k, tolvana::optionalText(default_value),
                                          tolvana::arguments(names, values, count), plural_rule);
  });
}

int64_t tolvana_plural_rule_for_quantity(uint64_t quantity) {
  return tolvana::guarded(__func__, int64_t{-1}, [&] { return Tolvana::pluralRuleForQuantity(quantity); });
}

int tolvana_set_language(const char* language) {
  return tolvana::guarded(__func__, 0, [&] { return Tolvana::setLanguage(tolvana::optionalText(language)) ? 1 : 0; });
}

char* tolvana_device_language(void) {
  return tolvana::text(__func__, [] {
    tolvana::TLInternal::sharedInstance();  // the engine's start settles the device language
    return tolvana::TLDeviceUtil::deviceLanguageLong();
  });
}

char* tolvana_available_languages(void) {
  return tolvana::text(__func__, [] {
    auto db = tolvana::TLInternal::sharedInstance()->database();
    if (!db || !db->initialized()) return std::string();
    return tolvana::join(db->availableLanguages(), ",");
  });
}

void tolvana_update(tolvana_update_callback callback, void* user_data) {
  tolvana::guarded(__func__,
                       [&] { Tolvana::updateWithCompletionHandler(tolvana::completion(callback, user_data)); });
}

void tolvana_update_groups(const char* const* groups, size_t group_count, const char* const* languages,
                           size_t language_count, tolvana_update_callback callback, void* user_data) {
  tolvana::guarded(__func__, [&] {
    Tolvana::updateGroups(tolvana::list(groups, group_count), tolvana::list(languages, language_count),
                          tolvana::completion(callback, user_data));
  });
}

void tolvana_set_draft_mode_enabled(int enabled) {
  tolvana::guarded(__func__, [&] { Tolvana::setDraftModeEnabled(enabled != 0); });
}

int tolvana_draft_mode_enabled(void) {
  return tolvana::guarded(__func__, 0, [] { return tolvana::TLInternal::sharedInstance()->IsDraftModeEnabled() ? 1 : 0; });
}

int tolvana_in_draft_mode(void) {
  return tolvana::guarded(__func__, 0, [] { return tolvana::TLInternal::sharedInstance()->isInDraftMode() ? 1 : 0; });
}

void tolvana_set_show_id_mode_enabled(int enabled) {
  tolvana::guarded(__func__, [&] { Tolvana::setShowIdModeEnabled(enabled != 0); });
}

int tolvana_show_id_mode_enabled(void) {
  return tolvana::guarded(__func__, 0, [] { return tolvana::TLInternal::sharedInstance()->isInShowIdMode() ? 1 : 0; });
}

char* tolvana_sdk_version(void) {
  return tolvana::text(__func__, [] { return Tolvana::sdkVersion(); });
}

}  // extern "C"
