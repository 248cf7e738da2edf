#include "tolvana/Hooks.h"

#include "config/ProcessState.h"
#include "config/TLDeviceUtil.h"
#include "config/TLSettings.h"
#include "config/TextsChangedNotices.h"
#include "core/TLInternal.h"
#include "hooks/BundleHook.h"
#include "hooks/KeyTags.h"
#include "hooks/LaunchHook.h"
#include "support/Boundary.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {

// A toolkit calls these from inside its own machinery; nothing may escape into it.
namespace {

// The look-up's text moves on: a toolkit's every tr() passes here.
std::optional<TolvanaHooks::Answer> answer(std::optional<TLLocalizedString>&& result) {
  if (!result) return std::nullopt;
  return TolvanaHooks::Answer{std::move(result->text), std::move(result->key), result->repeatable};
}

}  // namespace

bool TolvanaHooks::autostartEnabled() {
  return guarded("autostartEnabled", false, [] { return TLSettings::autostartEnabled(); });
}

std::optional<TolvanaHooks::Answer> TolvanaHooks::lookUp(std::string_view key,
                                                         std::optional<std::string_view> defaultValue,
                                                         std::string_view context) {
  return guarded("lookUp", std::optional<Answer>(),
                 [&] { return answer(BundleHook::lookUp(key, defaultValue, context)); });
}

std::optional<TolvanaHooks::Answer> TolvanaHooks::lookUpPlural(std::string_view key,
                                                               std::optional<std::string_view> defaultValue,
                                                               std::string_view context, std::uint64_t quantity) {
  return guarded("lookUpPlural", std::optional<Answer>(),
                 [&] { return answer(BundleHook::lookUpPlural(key, defaultValue, context, quantity)); });
}

bool TolvanaHooks::servesOtherBundle(const Bundle& bundle) {
  return guarded("servesOtherBundle", false, [&] { return BundleHook::servesOtherBundle(bundle); });
}

TolvanaHooks::Answer TolvanaHooks::lookUpInBundle(std::string_view key, std::optional<std::string_view> defaultValue,
                                                  std::optional<std::string_view> table,
                                                  std::shared_ptr<const Bundle> bundle) {
  return guarded("lookUpInBundle", Answer{std::string(key), std::nullopt, false}, [&] {
    auto result = TLInternal::sharedInstance()->localizedStringForKey(key, defaultValue, table, std::move(bundle));
    return Answer{std::move(result.text), std::move(result.key), result.repeatable};
  });
}

void TolvanaHooks::launch(const WaitOneSecond& wait) {
  guarded("launch", [&] { LaunchHook::launch(wait); });
}

bool TolvanaHooks::updateBlocking(const WaitOneSecond& wait) {
  return guarded("updateBlocking", false, [&] { return LaunchHook::updateBlocking(wait); });
}

std::string TolvanaHooks::currentLanguage() {
  return guarded("currentLanguage", std::string(), [] {
    // Starting the engine applies a forced language before the device's is read.
    auto database = TLInternal::sharedInstance()->database();
    std::string longLanguage = TLDeviceUtil::deviceLanguageLong();
    if (!database || database->availableLanguages().empty()) return longLanguage;
    auto languages = database->availableLanguages();
    if (languages.count(longLanguage)) return longLanguage;
    if (std::string shortLanguage = TLDeviceUtil::deviceLanguage(); languages.count(shortLanguage)) return shortLanguage;
    return database->baseLanguage().value_or(longLanguage);
  });
}

std::vector<std::string> TolvanaHooks::availableLanguages() {
  return guarded("availableLanguages", std::vector<std::string>(), [] {
    auto database = TLInternal::sharedInstance()->database();
    if (!database) return std::vector<std::string>();
    auto languages = database->availableLanguages();
    return std::vector<std::string>(languages.begin(), languages.end());
  });
}

bool TolvanaHooks::inDraftMode() {
  return guarded("inDraftMode", false, [] { return TLInternal::sharedInstance()->isInDraftMode(); });
}

bool TolvanaHooks::inShowIdMode() {
  return guarded("inShowIdMode", false, [] { return TLInternal::sharedInstance()->isInShowIdMode(); });
}

std::uint64_t TolvanaHooks::answersGeneration() {
  return ProcessState::get().answersGeneration.load(std::memory_order_acquire);
}

std::optional<std::vector<std::string>> TolvanaHooks::keysWrittenBetween(std::uint64_t since, std::uint64_t now) {
  return guarded("keysWrittenBetween", std::optional<std::vector<std::string>>(),
                 [&] { return ProcessState::get().textWrites.writtenBetween(since, now); });
}

TolvanaHooks::Renewal TolvanaHooks::renewAnswers() {
  return guarded("renewAnswers", Renewal{}, [] {
    const StringLookup::Renewal renewal = TLInternal::withEngine([](TLInternal& engine) { return engine.renewAnswers(); });
    return Renewal{renewal.outsideWrites, renewal.until};
  });
}

std::int64_t TolvanaHooks::monotonicNanoseconds() { return Platform::Current().clock().monotonicNanoseconds(); }

std::uint64_t TolvanaHooks::textsChangedCount() { return ProcessState::get().textsChanged.load(); }

std::uint64_t TolvanaHooks::addTextsChangedListener(std::function<void(const TextsChanged&)> listener) {
  return guarded("addTextsChangedListener", std::uint64_t{0},
                 [&] { return TextsChangedNotices::addListener(std::move(listener)); });
}

void TolvanaHooks::removeTextsChangedListener(std::uint64_t id) {
  guarded("removeTextsChangedListener", [&] { TextsChangedNotices::removeListener(id); });
}

void TolvanaHooks::tagText(const void* data, std::shared_ptr<const void> owner, std::string key) {
  guarded("tagText", [&] { KeyTags::shared().tag(data, std::move(owner), std::move(key)); });
}

std::optional<std::string> TolvanaHooks::keyForText(const void* data) {
  return guarded("keyForText", std::optional<std::string>(), [&] { return KeyTags::shared().keyFor(data); });
}

bool TolvanaHooks::anyTextTagged() { return KeyTags::shared().size() > 0; }

bool TolvanaHooks::runGuarded(std::string_view where, const std::function<void()>& work) noexcept {
  return guarded(where, false, [&] {
    work();
    return true;
  });
}

}  // namespace tolvana
