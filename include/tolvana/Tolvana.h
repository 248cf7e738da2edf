// Tolvana: the library's interface for a C++ host.
//
// The host needs no set-up call: the engine starts on the first use of any method below,
// reads its configuration from the app's Info.plist, unpacks the settings archive shipped
// in the app bundle and answers look-ups from its local translation store, falling back to
// the bundle's own string tables, the default text and finally the key. Look-ups never fail
// and never throw.
//
//   #include <tolvana/Tolvana.h>
//
//   std::string title = tolvana::Tolvana::localizedStringForKey("welcome.title");
//   std::string hello = tolvana::Tolvana::localizedStringForKey(
//       "welcome.hello", "Hello %{name}!", {{"name", user.name}});
//   std::string items = tolvana::Tolvana::localizedStringForKey(
//       "cart.items", {{"count", "3"}}, tolvana::Tolvana::pluralRuleForQuantity(3));
//
// Placeholders in texts are a percent sign and a name in braces: %{name}. Plural forms are
// stored under the key with the form's word in brackets ("cart.items[one]"); rules are
// 0 zero, 1 one, 2 two, 3 few, 4 many, 5 other.
//
// Thread contract: every method may be called from any thread, concurrently.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "tolvana/Configuration.h"
#include "tolvana/Export.h"
#include "tolvana/TextsChanged.h"
#include "tolvana/TolvanaScreenshotInterface.h"

namespace tolvana {

/// The library's interface for a C++ host: static methods only, never instantiated.
class TOLVANA_EXPORT Tolvana {
 public:
  Tolvana() = delete;

  /// The handler of an update: true when the server answered and its answer was taken, else
  /// false. It is called at most once, in one of these ways:
  /// - The engine is switched off, or has no usable settings archive: false at once, on the
  ///   calling thread, inside the update call itself and while the engine's lock is held. It
  ///   must not wait there for another thread that uses the library.
  /// - Otherwise, when the exchange has ended (also when the engine was reset meanwhile, with
  ///   false): on the main queue, that is the toolkit's event loop when an adapter drives one,
  ///   else a thread of the library's own; never inside the update call, and without the
  ///   engine's lock. With a proxy configured it follows the fall-back request, if any.
  /// - Never, when the server answers 200 with a body that does not begin with "{" (the
  ///   update then counts as still running), or when the update call fails inside the library
  ///   (logged at error level).
  /// A host that waits for the handler must wait off the main queue, and with a time-out.
  using CompletionHandler = std::function<void(bool)>;
  /// The handler of an update that also says what the update wrote into the stores: per
  /// language, the groups that were newer, with their versions and entries written (empty
  /// when nothing was newer, and on failure). Called as a CompletionHandler is.
  using ChangesHandler = std::function<void(bool, const TextChanges&)>;
  /// Placeholder name → replacement text.
  using Arguments = std::map<std::string, std::string>;
  /// Language → key → text (or, as input to localizeMap, key → default text).
  using LanguageMap = std::map<std::string, std::map<std::string, std::string>>;
  /// One line of the library's log: its level (0 verbose, 1 debug, 2 info, 3 warning,
  /// 4 error, 5 assert), its tag ("Tolvana") and its text.
  using LogHandler = std::function<void(int level, std::string_view tag, std::string_view message)>;
  /// Told that shown texts may be out of date (see setTextsChangedHandler).
  using TextsChangedHandler = std::function<void(const TextsChanged&)>;

  /// Says where the app bundle is, where its data and defaults are kept, how much the library
  /// logs and who runs the main queue, instead of the environment. Only before the engine
  /// starts, that is before the first look-up, update or other call that needs it; false,
  /// with an error line, once it has started. Call it once, early, from one thread.
  static bool configure(const Configuration& configuration);
  /// For a host that runs the main queue itself (Configuration::hostDrivesMainQueue): runs
  /// the tasks that are due, on the calling thread. Returns the milliseconds until the next
  /// queued task falls due, or -1 when none is queued (or the library runs its own queue).
  static std::int64_t drainMainQueue();
  /// Takes the library's log lines instead of standard error: one call per line, on the
  /// thread that logs, possibly while the library holds a lock of its own, so the handler must
  /// not wait for another thread that uses the library. Only lines at or above the log
  /// threshold arrive. A line logged from inside the handler goes to standard error. When
  /// this returns, the handler it replaced is no longer running; an empty handler goes back
  /// to standard error.
  static void setLogHandler(LogHandler handler);
  /// Called on the main queue, never under the library's lock, when shown texts may be out
  /// of date: after any update that wrote newer texts into the stores (with what it wrote, as
  /// updateWithChangesHandler reports it to that update's own handler, which runs after), and
  /// after setLanguage switched the language look-ups use first. When this returns, the
  /// handler it replaced is no longer running (unless replaced from inside itself); an empty
  /// handler removes it.
  static void setTextsChangedHandler(TextsChangedHandler handler);

  /// Asks the translation server for what is new in the default groups and languages (and
  /// uploads the strings collected as missing).
  static void updateWithCompletionHandler(CompletionHandler completion);
  /// The same for the given groups and languages (empty lists mean the defaults).
  static void updateGroups(const std::vector<std::string>& groups, const std::vector<std::string>& languages,
                           CompletionHandler completion);
  /// updateWithCompletionHandler, telling the handler what changed: a host redraws, or says
  /// "new texts", only when something did.
  static void updateWithChangesHandler(ChangesHandler handler);

  /// The text for the key in the current language; the key when nothing has one.
  static std::string localizedStringForKey(std::string_view key);
  /// The same, with the default text shown (and reported as missing) when the store lacks it.
  static std::string localizedStringForKey(std::string_view key, std::optional<std::string_view> defaultValue);
  /// The text with its placeholders replaced.
  static std::string localizedStringForKey(std::string_view key, std::optional<std::string_view> defaultValue,
                                           const Arguments& arguments);
  /// The same, with no default text. Name the type when the arguments are a braced list:
  /// Tolvana::Arguments{{"n", "3"}}.
  static std::string localizedStringForKey(std::string_view key, const Arguments& arguments);
  /// The plural form of the rule ("key[one]"), with its placeholders replaced.
  static std::string localizedStringForKey(std::string_view key, std::optional<std::string_view> defaultValue,
                                           const Arguments& arguments, std::int64_t pluralRule);
  /// The same, with no default text.
  static std::string localizedStringForKey(std::string_view key, const Arguments& arguments, std::int64_t pluralRule);

  /// The plural rule of a quantity in the current device language.
  static std::int64_t pluralRuleForQuantity(std::uint64_t quantity);

  /// Every key of the language's store with its text (the draft where draft mode shows drafts).
  static std::map<std::string, std::string> localizedStringsForLanguage(std::string_view language);
  /// The tables of the base, short and long device language merged; the long one wins.
  static std::map<std::string, std::string> localizedStringsForCurrentLanguage();
  /// Texts for many keys in given languages, without fall-backs to other languages.
  static LanguageMap localizeMap(const LanguageMap& map);

  /// Forces the app language ("pt_br", "de"); nullopt returns to the device's languages. False
  /// when the project does not offer the language. Persisted in the app's user defaults.
  static bool setLanguage(std::optional<std::string_view> language);

  /// Switches the engine off (look-ups then come from the bundle's own tables) or on;
  /// persisted across launches.
  static void setEnabled(bool enabled);
  /// Whether the engine is on.
  static bool enabled();
  /// Whether the app allows draft mode at all (on unless the app says otherwise).
  static void setDraftModeEnabled(bool enabled);
  static void setDraftModelEnabled(bool enabled);  ///< The older spelling, kept for existing hosts.
  /// Shows keys instead of texts until switched off or the process ends.
  static void setShowIdModeEnabled(bool enabled);
  /// Captures the app's window in draft mode and uploads it under the screen tag, with the
  /// positions of the strings on it and of the listed keys; call on the main thread.
  static void captureScreenshotWithTag(const std::string& tag, const std::vector<std::string>& keys);
  /// The same, asking the server to read the texts off the picture (useOcr) or not.
  static void captureScreenshotWithTag(const std::string& tag, const std::vector<std::string>& keys, bool useOcr);
  /// The same, telling the handler whether the server has the screenshot.
  static void captureScreenshotWithTag(const std::string& tag, const std::vector<std::string>& keys,
                                       CompletionHandler completion);
  /// The same, with both the text reading and the handler.
  static void captureScreenshotWithTag(const std::string& tag, const std::vector<std::string>& keys, bool useOcr,
                                       CompletionHandler completion);
  /// Asks for the draft-mode key, as the long two-finger press does; nothing when the app or
  /// the project does not allow draft mode. Call on the main thread.
  static void showDraftModeDialog();
  /// Shows or hides the review tools' overlay; false (and nothing changes) outside draft mode
  /// and while UI tests run.
  static bool setScreenShotMenuVisible(bool visible);

  /// Sets the provider of string positions for screenshots. It is held weakly: keep it alive.
  /// An object that is not a TolvanaScreenshotInterface (or null) is refused with an error
  /// line, and the current provider stays.
  template <class T>
  static void setScreenshotInterface(const std::shared_ptr<T>& provider) {
    if constexpr (std::is_base_of_v<TolvanaScreenshotInterface, T>) {
      setConformingScreenshotInterface(provider);
    } else if constexpr (std::is_polymorphic_v<T>) {
      setConformingScreenshotInterface(std::dynamic_pointer_cast<TolvanaScreenshotInterface>(provider));
    } else {
      setConformingScreenshotInterface(nullptr);
    }
  }

  /// Drops the engine, erases the app's user defaults and starts again.
  static void reset();
  /// "2.0.149"; needs no running engine.
  static std::string sdkVersion();

 private:
  static void setConformingScreenshotInterface(const std::shared_ptr<TolvanaScreenshotInterface>& provider);
};

}  // namespace tolvana
