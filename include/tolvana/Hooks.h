/**
 * @file Hooks.h
 * @brief What a toolkit adapter needs beyond the public interface to localise a host with
 * no code of the host's own.
 *
 * An adapter routes the toolkit's string look-ups through lookUp() and lookUpPlural(), runs
 * launch() once when the host's first window is about to appear, and ties shown texts back
 * to their keys with tagText() and keyForText(). Hosts do not call these themselves.
 */
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tolvana/Export.h"
#include "tolvana/TextsChanged.h"

namespace tolvana {

class Bundle;

/// Static functions only, never instantiated.
class TOLVANA_EXPORT TolvanaHooks {
 public:
  TolvanaHooks() = delete;

  /// A look-up the engine answered.
  struct Answer {
    std::string text;                ///< The text to show.
    std::optional<std::string> key;  ///< Set when the text must carry its key (draft mode, UI tests).
    /// The same look-up answers the same text, and has nothing else to do (no miss to record,
    /// no line to log, no key to tag), for as long as answersGeneration() stays where it was
    /// before this look-up and renewAnswers() vouches for the answers kept: an adapter may
    /// keep the answer for that long.
    bool repeatable = false;
  };
  /// See renewAnswers().
  struct Renewal {
    std::uint64_t outsideWrites = 0;
    std::int64_t until = 0;  ///< on monotonicNanoseconds()' clock
  };

  /// Whether the app lets the library insert itself ("TolvanaEnableAutostart").
  static bool autostartEnabled();

  /// A toolkit look-up: the key (a message id or source text) with the default text, for
  /// the translation context. A context whose first "::"-separated component names one of
  /// the app's framework bundles is that framework's look-up, served only when the
  /// framework is listed in "TolvanaAdditionalFrameworks" or "TolvanaSearchIDsInAllBundles"
  /// holds; any other context is the main bundle's. Answers nothing when the bundle is not
  /// served or when neither a store nor the bundle's own table has the key, so that the
  /// toolkit's other sources still answer.
  static std::optional<Answer> lookUp(std::string_view key, std::optional<std::string_view> defaultValue,
                                      std::string_view context);
  /// The plural form of the quantity's rule in the device language ("key[one]"), with
  /// "%{count}" replaced by the quantity; otherwise as lookUp().
  static std::optional<Answer> lookUpPlural(std::string_view key, std::optional<std::string_view> defaultValue,
                                            std::string_view context, std::uint64_t quantity);

  /// For a toolkit whose look-ups name a bundle (one of the Bundles port's) rather than a
  /// context: whether the engine serves that bundle when it is not the main bundle, which it
  /// always serves. It does when "TolvanaSearchIDsInAllBundles" holds (read once per process)
  /// or when "TolvanaAdditionalFrameworks" lists the bundle's folder name without extension.
  static bool servesOtherBundle(const Bundle& bundle);
  /// The engine's answer for a served bundle's look-up in the table (the default one when
  /// nullopt): the stores, then the bundle's own tables, the default text and the key.
  static Answer lookUpInBundle(std::string_view key, std::optional<std::string_view> defaultValue,
                               std::optional<std::string_view> table, std::shared_ptr<const Bundle> bundle);

  /// Waits a second for the update to make progress; the adapter's toolkit keeps its event
  /// loop running in it.
  using WaitOneSecond = std::function<void()>;
  /// The launch hook: on its first call only, and only with autostart on (and, where a test
  /// runner hosts the app, "TolvanaEnableAutostartForTests") and "TolvanaInitialUpdate",
  /// starts the first update of all groups and languages. With "TolvanaWaitOnAppStart" it
  /// returns when that update has ended, calling wait between checks; else at once. An update
  /// that cannot end is given up once its requests' time-outs and a few seconds have passed.
  static void launch(const WaitOneSecond& wait);
  /// Updates all groups and languages and returns when the update has ended, calling wait
  /// between checks (one-second sleeps when empty), or, for an update that cannot end, once
  /// its requests' time-outs and a few seconds have passed. True when the server answered and
  /// its answer was taken; false otherwise, also for an update given up. Never call it on the
  /// main queue with a wait that does not run the main queue.
  static bool updateBlocking(const WaitOneSecond& wait = {});

  /// The language look-ups answer in first: the device's (or the forced) language with its
  /// region, else without, where the stores hold it, else the base language; the device's
  /// language when there are no stores.
  static std::string currentLanguage();
  /// The languages the stores hold, sorted; empty before the engine has stores.
  static std::vector<std::string> availableLanguages();
  /// Whether look-ups show drafts, and whether they show keys.
  static bool inDraftMode();
  static bool inShowIdMode();

  /// Moves on after anything that may change an answer: texts written into the stores, the
  /// language switched, draft, show-ID or pseudo-localisation mode turned on or off, the
  /// engine enabled, disabled or started again. Never moves back.
  static std::uint64_t answersGeneration();
  /// The keys whose repeatable answers, kept in generation since, may have changed by generation
  /// now, sorted: every move in between was an update that wrote texts, and these are the keys
  /// it wrote (in any language); an answer under any other key still stands. Nullopt when that
  /// is not known (a language switch, a mode, the settings), so the adapter asks again for all.
  static std::optional<std::vector<std::string>> keysWrittenBetween(std::uint64_t since, std::uint64_t now);
  /// Another process may write the stores; they look for that at most a second apart. An
  /// adapter keeping repeatable answers calls this once the last Renewal's until has passed
  /// (and before it keeps its first): the stores look now where they are due, and every answer
  /// kept since the last call stands until the new until, provided outsideWrites is the same
  /// as then. A new count means another process wrote the stores: drop every kept answer.
  static Renewal renewAnswers();
  /// The library's monotonic clock in nanoseconds, the clock of Renewal::until.
  static std::int64_t monotonicNanoseconds();
  /// Counts the updates that wrote texts into the stores; a change tells the adapter that
  /// shown texts may be out of date.
  static std::uint64_t textsChangedCount();
  /// Tells the listener, on the main queue, each time shown texts may be out of date: an
  /// update wrote texts into the stores, or the language look-ups use first was switched.
  /// It is kept beside the host's own handler (Tolvana::setTextsChangedHandler) until removed
  /// with the id this returns.
  static std::uint64_t addTextsChangedListener(std::function<void(const TextsChanged&)> listener);
  static void removeTextsChangedListener(std::uint64_t id);

  /// Tags the text stored at data with its key. owner keeps that storage alive while the
  /// tag is kept, so the address cannot stand for another text; the oldest tags are dropped
  /// when many are held.
  static void tagText(const void* data, std::shared_ptr<const void> owner, std::string key);
  /// The key of the text stored at data, if it was tagged.
  static std::optional<std::string> keyForText(const void* data);
  /// Whether any text is tagged, so that an adapter skips the search while none is.
  static bool anyTextTagged();

  /// Runs work where the toolkit called in (a queued task, a script's native function) and
  /// keeps whatever it throws on this side: the failure is logged as "<where> failed" through
  /// the engine's logger. False when work threw.
  static bool runGuarded(std::string_view where, const std::function<void()>& work) noexcept;
};

}  // namespace tolvana
