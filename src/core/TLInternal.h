// TLInternal: the engine, and the composition root of its parts. It owns the engine's state
// (lock, switches, store manager) and the parts that work on it: the look-up, the language
// selection, the import of the app's own string tables, the missing-string collection and the
// update client; its public methods are what the facade, the tools and the tests call, and
// each forwards to the part that does the work.
//
// Start-up runs on the thread that first asks for the engine, in a fixed order: the persisted
// on/off switch, the version and settings log, the store manager (which unpacks the settings
// archive), draft mode, the default languages. Only user-interface work is queued onto the
// main queue. Other threads asking meanwhile wait for start-up to end; the starting thread
// itself, asking again from inside start-up (a look-up hook), gets the engine as far as it
// has come, which answers from the bundle's own tables until its store is open.
//
// Thread contract: every method may be called from any thread. The engine's lock (lock())
// is re-entrant; the missing-string collection has its own lock, always taken after the
// engine's. Switches are atomics, read afresh by every look-up.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "config/ProcessState.h"
#include "localization/EngineState.h"
#include "localization/LanguageSelection.h"
#include "localization/StringLookup.h"
#include "localization/StringTablesImport.h"
#include "review/DraftMode.h"
#include "review/IssueRequest.h"
#include "review/OverlayControl.h"
#include "review/Screenshots.h"
#include "review/StringCollector.h"
#include "store/TLDatabase.h"
#include "support/Mutex.h"
#include "support/ReadEpoch.h"
#include "sync/LivePreview.h"
#include "sync/MissingEntries.h"
#include "sync/UpdateClient.h"
#include "tolvana/platform/Bundle.h"
#include "tolvana/platform/UserDefaults.h"

namespace tolvana {

class TolvanaScreenshotInterface;

class TLInternal : public std::enable_shared_from_this<TLInternal> {
 public:
  static std::shared_ptr<TLInternal> sharedInstance();
  // Runs work while no engine has started or is starting, holding off a start meanwhile;
  // false, and work not run, once one has.
  static bool beforeStart(const std::function<void()>& work);
  // Runs call with the engine, started if need be. The look-up path: while an engine runs, it
  // takes no lock and no reference, and the engine a reset replaces lives until every call
  // that began on it has returned. A call must not wait for another thread that resets.
  template <class Call>
  static auto withEngine(Call&& call) -> decltype(call(std::declval<TLInternal&>())) {
    ReadEpoch::Section section;
    if (TLInternal* engine = published_.load()) return call(*engine);
    return call(*sharedInstance());
  }
  // The text the running engine gave lately on this thread for a plain look-up of the key
  // (no table, bundle or arguments), while it still holds; null when there is none or no
  // engine runs. No section, lock or engine is needed: a repeated look-up of a host ends here.
  // Valid until the thread's next look-up.
  static const std::string* recentText(std::string_view key, std::optional<std::string_view> value);
  // Drops the engine, erases the app's whole user-defaults domain and starts again.
  static void resetInstance();
  // Drops the engine without touching the user defaults, and forgets what the process has
  // read and done once, as if a new process started; for tests.
  static void dropInstanceForTesting();
  ~TLInternal();

  RecursiveMutex& lock() TL_RETURN_CAPABILITY(state_.lock()) { return state_.lock(); }

  // Switches.
  bool enabled() const { return state_.enabled; }
  void setEnabled(bool enabled);
  static bool readTolvanaEnabled(const UserDefaults& defaults);
  void writeTolvanaEnabled();
  bool isInDraftMode() const { return state_.inDraftMode; }
  void setInDraftMode(bool inDraftMode) {
    if (state_.inDraftMode.exchange(inDraftMode) == inDraftMode) return;
    ProcessState::get().answersChanged();
    inDraftMode ? live_->startIfWanted() : removeOverlay();
  }
  bool isInShowIdMode() const { return state_.inShowIdMode; }
  void setInShowIdMode(bool inShowIdMode) {
    if (state_.inShowIdMode.exchange(inShowIdMode) != inShowIdMode) ProcessState::get().answersChanged();
  }
  static bool readDraftMode(const UserDefaults& defaults);
  void writeDraftMode();
  bool IsDraftModeEnabled() const;
  void setDraftModeEnabled(bool enabled);
  bool collectStoryBoardStrings() const { return state_.collectStoryBoardStrings; }
  bool isPossibleSwiftUi() const { return state_.isPossibleSwiftUi; }
  bool pseudoLocalizing() const { return state_.pseudoExpansion.load(std::memory_order_relaxed) >= 0; }

  std::shared_ptr<TLDatabase> database() const;
  std::vector<std::string> defaultLanguages() const;
  void setDefaultLanguages(std::vector<std::string> languages);
  std::vector<std::string> defaultGroups() const { return updates_->defaultGroups(); }
  bool isEnterpriseHost(std::string_view url) const;
  void showNotInitializedError();
  void exitApp();

  // Draft mode's key dialog and gestures; main queue only.
  void registerTestModeGesture() { draft_->registerTestModeGesture(); }
  void registerDraftMenuGesture() { draft_->registerDraftMenuGesture(); }
  void showDraftModeDialog() { draft_->showDraftModeDialog(); }
  void showDraftModeAlertWithMessage(const std::string& message) { draft_->showDraftModeAlertWithMessage(message); }
  void textFieldDidEndEditing(const std::string& text) { draft_->textFieldDidEndEditing(text); }
  void alertViewDidDismissWithButtonIndex(std::int64_t index) { draft_->alertViewDidDismissWithButtonIndex(index); }

  // The strings a window shows, for a screenshot; main queue only.
  std::optional<std::vector<TLStringPosition>> collectStringsInView(const UiView* view) const {
    return collector_->collectStringsInView(view);
  }

  // Screenshots with their string positions, uploaded under a screen tag.
  using CaptureCompletion = Screenshots::Completion;
  void loadScreenTagsWithCompletionHandler(Screenshots::TagsCompletion completion) {
    screenshots_->loadScreenTags(std::move(completion));
  }
  void captureScreenshotWithTag(const std::string& tag, const std::vector<std::string>& keys, bool useOcr,
                                CaptureCompletion completion) {
    screenshots_->captureScreenshotWithTag(tag, keys, useOcr, std::move(completion));
  }
  void captureScreenshotNoChecksWithTag(const std::string& tag, const std::vector<std::string>& keys, bool useOcr,
                                        CaptureCompletion completion) {
    screenshots_->captureScreenshotNoChecksWithTag(tag, keys, useOcr, std::move(completion));
  }
  void captureScreenshotWithTagAndPositionFromDraftModeDialog(const std::string& tag, const std::string& idsAndPos,
                                                              CaptureCompletion completion) {
    screenshots_->captureScreenshotWithTagAndPositionFromDraftModeDialog(tag, idsAndPos, std::move(completion));
  }

  // Files an issue and links a screenshot of the screen to it; main queue only.
  void requestJiraIssue(const std::string& summary, const std::string& description) {
    issues_->requestJiraIssue(summary, description);
  }

  // The review tools' overlay window.
  bool overlayActive() const { return overlay_->overlayActive(); }
  void addOverlay() { overlay_->addOverlay(); }
  void removeOverlay() { overlay_->removeOverlay(); }
  void toggleOverlay() { overlay_->toggleOverlay(); }
  bool setScreenShotMenuVisible(bool visible) { return overlay_->setScreenShotMenuVisible(visible); }
  void addUITestOverlay() { overlay_->addUITestOverlay(); }

  // Screenshot provider, held weakly.
  void setScreenshotInterface(std::weak_ptr<TolvanaScreenshotInterface> provider);
  std::shared_ptr<TolvanaScreenshotInterface> screenshotInterface() const;

  // Language selection.
  void resetDefaultLanguages();
  bool setLanguage(std::optional<std::string_view> language);
  std::optional<std::string> getBaseLanguage() const;
  // The language misses are uploaded in: the bundle's development language when it is a
  // language code, else the base language.
  std::optional<std::string> uploadLanguage() const;

  // Look-up.
  std::optional<std::string> localizedStringForKeyAndLanguage(std::string_view key, std::string_view language);
  StringLookup::Renewal renewAnswers() const;
  TLLocalizedString localizedStringForKey(std::string_view key, std::optional<std::string_view> value,
                                          std::optional<std::string_view> table, std::shared_ptr<const Bundle> bundle);
  TLLocalizedString localizedStringForKey(std::string_view key, std::optional<std::string_view> value);
  static constexpr std::size_t kFormattedSizeLimit = StringLookup::kFormattedSizeLimit;
  static std::optional<std::string> formatString(std::optional<std::string_view> text,
                                                 const std::map<std::string, std::string>* arguments) {
    return StringLookup::formatString(text, arguments);
  }
  TLLocalizedString localizedStringForKeyWithArguments(std::string_view key,
                                                       const std::map<std::string, std::string>* arguments,
                                                       std::optional<std::string_view> value);
  TLLocalizedString localizedStringForKeyWithArgumentsAndPluralRule(std::string_view key,
                                                                    const std::map<std::string, std::string>* arguments,
                                                                    std::int64_t pluralRule,
                                                                    std::optional<std::string_view> value);
  TLLanguageMap localizeMap(const TLLanguageMap& map);
  std::map<std::string, std::string> localizedStringsForLanguage(std::string_view language);
  std::map<std::string, std::string> localizedStringsForCurrentLanguage();
  bool entryExists(std::string_view key);
  bool collectMissingEnabled() const;

  // Plural words.
  std::int64_t pluralRuleFromString(std::optional<std::string_view> word) const;
  std::optional<std::string> pluralRuleToString(std::int64_t rule) const;

  // Server synchronisation. The completion gets true when an answer was received and
  // accepted; it runs on the main queue when asked, else on the request's own queue.
  // changes, when given, is told what an accepted answer wrote, before the completion runs.
  using UpdateCompletion = UpdateClient::Completion;
  void updateGroups(std::optional<std::vector<std::string>> groups, std::optional<std::vector<std::string>> languages,
                    bool completeOnMainQueue, UpdateCompletion completion,
                    UpdateClient::ChangesSink changes = nullptr);
  void updateGroupsFromHost(std::optional<std::vector<std::string>> groups,
                            std::optional<std::vector<std::string>> languages, const std::string& host,
                            bool completeOnMainQueue, UpdateCompletion completion);
  // HMAC-SHA256 of the message keyed with the API secret, in 64 lower-case hex digits.
  std::string generateHmac(std::string_view message) const;
  bool shouldSendMAU() const { return updates_->shouldSendMAU(); }
  void writeLastMAU() { updates_->writeLastMAU(); }
  bool isFetchingLocalisationTexts() const { return updates_->isFetchingLocalisationTexts(); }
  // Whether the live preview's request to the server runs (draft mode with the app's opt-in).
  bool livePreviewListening() const { return live_->listening(); }

  // Missing strings: recorded on a miss and uploaded with an update after a quiet period.
  // The key may be the very same text as the value (the same characters in memory), which
  // draws a warning for long keys.
  bool storeMissingEntryForLanguage(std::optional<std::string_view> language, std::optional<std::string_view> key,
                                    std::optional<std::string_view> value);
  bool queueSendMissingEntrys();
  TLLanguageMap missingEntries() const;
  bool missingEntryUpdateQueued() const { return missing_->missingEntryUpdateQueued(); }

  // The app's own string tables, reported as missing where the store lacks their keys.
  void fillMissingStringsFromLocalStrings();
  void fillMissingStringsFromLocalStringsAndBundle(const Bundle& bundle);
  // Every text of the bundle's own tables that the import above reads, with the language it
  // counts for (plural forms as "key[form]").
  using LocalStringVisitor = StringTablesImport::LocalStringVisitor;
  void forEachLocalString(const Bundle& bundle, const LocalStringVisitor& visit);

 private:
  TLInternal() = default;
  // Builds the parts; they need the engine's own weak reference, which exists only once the
  // engine is held by a shared pointer.
  void assemble();
  void start();

  EngineState state_;
  std::unique_ptr<StringLookup> lookup_;
  std::unique_ptr<LanguageSelection> languages_;
  std::unique_ptr<MissingEntries> missing_;
  std::unique_ptr<StringTablesImport> import_;
  std::unique_ptr<UpdateClient> updates_;
  std::unique_ptr<LivePreview> live_;
  std::unique_ptr<OverlayControl> overlay_;
  std::unique_ptr<DraftMode> draft_;
  std::unique_ptr<StringCollector> collector_;
  std::unique_ptr<Screenshots> screenshots_;
  std::unique_ptr<IssueRequest> issues_;
  std::weak_ptr<TolvanaScreenshotInterface> screenshotInterface_ TL_GUARDED_BY(state_.lock());

  // Takes the running engine (the process's engine field, read under its lock) off the
  // look-up path and out of the field; the caller releases it once look-ups are done with it.
  static std::shared_ptr<TLInternal> unpublish(std::shared_ptr<TLInternal>& engine);
  // The running engine for withEngine(); null while none runs or one starts.
  static std::atomic<TLInternal*> published_;
  // The published engine's look-up owner (RecentAnswers), readable without the engine; 0 with
  // published_ null.
  static std::atomic<std::uint64_t> publishedOwner_;
};

}  // namespace tolvana
