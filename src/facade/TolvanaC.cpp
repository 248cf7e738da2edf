// The C interface: a thin layer over the facade that turns C arrays and pointers into the
// facade's types and back. Look-ups, language and modes, updates; the other groups of
// functions have files of their own (TolvanaC*.cpp).
#include <functional>
#include <memory>
#include <vector>

#include "config/TLDeviceUtil.h"
#include "core/TLInternal.h"
#include "facade/CInterface.h"
#include "support/StringUtil.h"
#include "sync/CompletionOnce.h"
#include "tolvana/platform/Platform.h"
#include "tolvana/tolvana.h"

namespace tolvana::c {

namespace {

// A main queue that cannot take the call (no thread could be started) gets it run here: late
// rather than never.
void onMainQueue(const std::function<void()>& call) {
  bool queued = guarded("Queueing a callback", false, [&] {
    Platform::Current().dispatch().mainAsync(call);
    return true;
  });
  if (!queued) call();
}

Tolvana::Arguments arguments(const char* const* names, const char* const* values, size_t count) {
  Tolvana::Arguments result;
  if (!names || !values) return result;
  for (size_t i = 0; i < count; ++i) {
    if (names[i] && values[i]) result[names[i]] = values[i];
  }
  return result;
}

}  // namespace

Tolvana::CompletionHandler completion(void (*callback)(int, void*), void* userData) {
  if (!callback) return nullptr;
  return completionOnce([callback, userData](bool success) {
    onMainQueue([callback, userData, success] { callback(success ? 1 : 0, userData); });
  });
}

Tolvana::ChangesHandler changesCompletion(tolvana_update_changes_callback callback, void* userData) {
  if (!callback) return nullptr;
  // Filled just before the outcome; left empty when the engine lets the completion go uncalled.
  auto written = std::make_shared<TextChanges>();
  auto once = completionOnce([callback, userData, written](bool success) {
    onMainQueue([callback, userData, success, written] {
      std::vector<tolvana_group_change> groups = groupChanges(*written);
      callback(success ? 1 : 0, groups.empty() ? nullptr : groups.data(), groups.size(), userData);
    });
  });
  return [once = std::move(once), written](bool success, const TextChanges& changes) {
    *written = changes;
    once(success);
  };
}

}  // namespace tolvana::c

using tolvana::Tolvana;

extern "C" {

void tolvana_string_free(char* string) { std::free(string); }

char* tolvana_localized_string(const char* key) {
  return tolvana::c::lookup(__func__, key, [](std::string_view k) { return Tolvana::localizedStringForKey(k); });
}

char* tolvana_localized_string_with_default(const char* key, const char* default_value) {
  return tolvana::c::lookup(__func__, key, [&](std::string_view k) {
    return Tolvana::localizedStringForKey(k, tolvana::c::optionalText(default_value));
  });
}

char* tolvana_localized_string_with_arguments(const char* key, const char* default_value, const char* const* names,
                                              const char* const* values, size_t count) {
  return tolvana::c::lookup(__func__, key, [&](std::string_view k) {
    return Tolvana::localizedStringForKey(k, tolvana::c::optionalText(default_value),
                                          tolvana::c::arguments(names, values, count));
  });
}

char* tolvana_localized_string_with_plural_rule(const char* key, const char* default_value, const char* const* names,
                                                const char* const* values, size_t count, int64_t plural_rule) {
  return tolvana::c::lookup(__func__, key, [&](std::string_view k) {
    return Tolvana::localizedStringForKey(k, tolvana::c::optionalText(default_value),
                                          tolvana::c::arguments(names, values, count), plural_rule);
  });
}

int64_t tolvana_plural_rule_for_quantity(uint64_t quantity) {
  return tolvana::guarded(__func__, int64_t{-1}, [&] { return Tolvana::pluralRuleForQuantity(quantity); });
}

int tolvana_set_language(const char* language) {
  return tolvana::guarded(__func__, 0, [&] { return Tolvana::setLanguage(tolvana::c::optionalText(language)) ? 1 : 0; });
}

char* tolvana_device_language(void) {
  return tolvana::c::text(__func__, [] {
    tolvana::TLInternal::sharedInstance();  // the engine's start settles the device language
    return tolvana::TLDeviceUtil::deviceLanguageLong();
  });
}

char* tolvana_available_languages(void) {
  return tolvana::c::text(__func__, [] {
    auto db = tolvana::TLInternal::sharedInstance()->database();
    if (!db || !db->initialized()) return std::string();
    return tolvana::join(db->availableLanguages(), ",");
  });
}

void tolvana_update(tolvana_update_callback callback, void* user_data) {
  tolvana::guarded(__func__,
                   [&] { Tolvana::updateWithCompletionHandler(tolvana::c::completion(callback, user_data)); });
}

void tolvana_update_with_changes(tolvana_update_changes_callback callback, void* user_data) {
  tolvana::guarded(__func__,
                   [&] { Tolvana::updateWithChangesHandler(tolvana::c::changesCompletion(callback, user_data)); });
}

void tolvana_update_groups(const char* const* groups, size_t group_count, const char* const* languages,
                           size_t language_count, tolvana_update_callback callback, void* user_data) {
  tolvana::guarded(__func__, [&] {
    Tolvana::updateGroups(tolvana::c::list(groups, group_count), tolvana::c::list(languages, language_count),
                          tolvana::c::completion(callback, user_data));
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

void tolvana_set_enabled(int enabled) { Tolvana::setEnabled(enabled != 0); }

int tolvana_enabled(void) { return Tolvana::enabled() ? 1 : 0; }

void tolvana_reset(void) { Tolvana::reset(); }

char* tolvana_sdk_version(void) {
  return tolvana::c::text(__func__, [] { return Tolvana::sdkVersion(); });
}

}  // extern "C"
