#include "sync/MissingEntries.h"

#include <chrono>

#include "config/TLDeviceUtil.h"
#include "support/Mutex.h"
#include "support/StringUtil.h"
#include "support/TLLog.h"
#include "support/WhileAlive.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {

namespace {

constexpr std::size_t kMaximumKeyBytes = 997;
constexpr std::size_t kLongKeyBytes = 21;
// A new screen misses many strings at once; they go up together after this quiet period.
constexpr std::chrono::seconds kQuietPeriod{10};

// de-DE becomes de; de-AT, pt-BR and zh-Hans stay as given.
std::string uploadLanguageCode(std::string_view language) {
  if (!contains(language, "-")) return std::string(language);
  LocaleComponents parts = Platform::Current().locale().componentsFromLocaleIdentifier(language);
  std::string second = toLower(parts.region.empty() ? parts.script : parts.region);
  return second == parts.language ? parts.language : std::string(language);
}

}  // namespace

bool MissingEntries::storeMissingEntryForLanguage(std::optional<std::string_view> language,
                                                  std::optional<std::string_view> key,
                                                  std::optional<std::string_view> value) {
  // The cheap checks come first: a released app pays almost nothing per miss.
  const EngineState& state = context_.state;
  auto db = state.database();
  if (!state.enabled || !db || !db->initialized() || !key || !db->collectMissingEnabled()) return false;
  if (!state.inDraftMode && !TLDeviceUtil::isDebuggerConnected()) return false;
  if (key->size() > kMaximumKeyBytes) {
    logError("You are using an ID that is to large to be uploaded to Tolvana since the maximum ID length is %ld Bytes "
             "while yours is %ld. Please shorten the ID: %@",
             static_cast<long>(kMaximumKeyBytes), static_cast<long>(key->size()), *key);
    return false;
  }
  bool keyIsTheText = value && value->data() == key->data() && value->size() == key->size();
  if (keyIsTheText && key->size() >= kLongKeyBytes) {
    logWarning("Key %@ is the same as the source text and contains whitespace or is a longer string than recommended. "
               "This can lead to localisation errors. Please consider using a shorter key for this text",
               *key);
  }
  std::string id = removeAll(*key, '\n');
  if (id.empty()) return false;
  std::string code = uploadLanguageCode(language.value_or(""));
  if (!db->isLanguageSupported(code)) return false;

  LockGuard engineLock(state.lock());
  {
    LockGuard lock(missingMutex_);
    auto& texts = missingEntries_[code];
    if (auto existing = texts.find(id); existing != texts.end() && !existing->second.empty()) return false;
    texts[id] = std::string(value.value_or(""));
  }
  queueSendMissingEntrys();
  return true;
}

bool MissingEntries::queueSendMissingEntrys() {
  LockGuard lock(context_.state.lock());
  if (missingEntryUpdateQueued_) return false;
  missingEntryUpdateQueued_ = true;
  logVerbose("Queue send missing Translations.");
  try {
    Platform::Current().dispatch().mainAfter(kQuietPeriod, whileAlive(context_.owner, [this] { sendMissingEntries(); }));
  } catch (...) {
    missingEntryUpdateQueued_ = false;  // else no later miss would ever queue an upload
    throw;
  }
  return true;
}

void MissingEntries::sendMissingEntries() {
  std::size_t languages;
  {
    LockGuard lock(missingMutex_);
    languages = missingEntries_.size();
  }
  if (languages == 0) {
    missingEntryUpdateQueued_ = false;
    return;
  }
  logVerbose("Send missing Translations.");
  context_.upload(whileAlive(context_.owner, [this](bool success) {
    if (!success) return;
    LockGuard lock(missingMutex_);
    logInfo("Updated missing Translations.");
    // Misses recorded while the request was in flight go too; they come back if they miss again.
    missingEntries_.clear();
  }));
  // Misses that arrive during the upload schedule the next one.
  missingEntryUpdateQueued_ = false;
}

TLLanguageMap MissingEntries::missingEntries() const {
  LockGuard lock(missingMutex_);
  return missingEntries_;
}

}  // namespace tolvana
