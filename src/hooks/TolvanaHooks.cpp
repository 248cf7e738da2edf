#include "tolvana/Hooks.h"

#include "config/ProcessState.h"
#include "config/TLSettings.h"
#include "core/TLInternal.h"
#include "hooks/BundleHook.h"
#include "hooks/KeyTags.h"
#include "hooks/LaunchHook.h"
#include "support/TLLog.h"

namespace tolvana {

namespace {

// A toolkit calls these from inside its own machinery; nothing may escape into it.
template <class Result, class Call>
Result noThrow(std::string_view name, Result fallback, Call&& call) noexcept {
  try {
    return call();
  } catch (...) {
    try {
      logError("%@ failed.", name);
    } catch (...) {
    }
  }
  return fallback;
}

std::optional<TolvanaHooks::Answer> answer(const std::optional<TLLocalizedString>& result) {
  if (!result) return std::nullopt;
  return TolvanaHooks::Answer{result->text, result->key};
}

}  // namespace

bool TolvanaHooks::autostartEnabled() {
  return noThrow("autostartEnabled", false, [] { return TLSettings::autostartEnabled(); });
}

std::optional<TolvanaHooks::Answer> TolvanaHooks::lookUp(std::string_view key,
                                                         std::optional<std::string_view> defaultValue,
                                                         std::string_view context) {
  return noThrow("lookUp", std::optional<Answer>(),
                 [&] { return answer(BundleHook::lookUp(key, defaultValue, context)); });
}

std::optional<TolvanaHooks::Answer> TolvanaHooks::lookUpPlural(std::string_view key,
                                                               std::optional<std::string_view> defaultValue,
                                                               std::string_view context, std::uint64_t quantity) {
  return noThrow("lookUpPlural", std::optional<Answer>(),
                 [&] { return answer(BundleHook::lookUpPlural(key, defaultValue, context, quantity)); });
}

bool TolvanaHooks::servesOtherBundle(const Bundle& bundle) {
  return noThrow("servesOtherBundle", false, [&] { return BundleHook::servesOtherBundle(bundle); });
}

TolvanaHooks::Answer TolvanaHooks::lookUpInBundle(std::string_view key, std::optional<std::string_view> defaultValue,
                                                  std::optional<std::string_view> table,
                                                  std::shared_ptr<const Bundle> bundle) {
  return noThrow("lookUpInBundle", Answer{std::string(key), std::nullopt}, [&] {
    auto result = TLInternal::sharedInstance()->localizedStringForKey(key, defaultValue, table, std::move(bundle));
    return Answer{std::move(result.text), std::move(result.key)};
  });
}

void TolvanaHooks::launch(const WaitOneSecond& wait) {
  noThrow("launch", 0, [&] { return LaunchHook::launch(wait), 0; });
}

void TolvanaHooks::updateBlocking(const WaitOneSecond& wait) {
  noThrow("updateBlocking", 0, [&] { return LaunchHook::updateBlocking(wait), 0; });
}

std::uint64_t TolvanaHooks::textsChangedCount() { return ProcessState::get().textsChanged.load(); }

void TolvanaHooks::tagText(const void* data, std::shared_ptr<const void> owner, std::string key) {
  noThrow("tagText", 0, [&] { return KeyTags::shared().tag(data, std::move(owner), std::move(key)), 0; });
}

std::optional<std::string> TolvanaHooks::keyForText(const void* data) {
  return noThrow("keyForText", std::optional<std::string>(), [&] { return KeyTags::shared().keyFor(data); });
}

bool TolvanaHooks::anyTextTagged() { return KeyTags::shared().size() > 0; }

}  // namespace tolvana
