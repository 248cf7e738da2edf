// RecentAnswers: the answers a thread's look-ups gave lately, so that a text shown again costs
// a probe instead of a walk through the stores of three languages and the bundle. Each thread
// keeps its own, so a probe takes no lock and shares no line with other threads.
//
// An answer is kept under a stamp of everything it was made from besides its key and default
// text: the engine, the platform, the generation of the engine's answers (which every switch,
// store write, device-language change and new store manager moves on) and the stores'
// contents. A look-up under another stamp drops every kept answer. The stamp is read without
// the engine, so a host's call can be answered before it reaches one. A thread's answers all
// lapse together once a store is due to look for outside changes to its file, and are renewed
// together once the stores have looked (confirm()): a text drawn every few seconds still costs
// only a probe, and the stores are looked at once a second, not once per text.
// Once the answers of a set are all in use, only a key seen twice in a row in its set takes the
// place of one, so a walk over more keys than the table holds does not pay to fill it; and a
// thread whose look-ups find nothing and may keep nothing for a while reads the table only now
// and then, until it pays again.
//
// Thread contract: any thread; each sees only its own answers.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "localization/TLLocalizedString.h"

namespace tolvana {

class Platform;

class RecentAnswers {
 public:
  struct Stamp {
    std::uint64_t owner = 0;
    const Platform* platform = nullptr;
    std::uint64_t answersGeneration = 0;
    std::uint64_t contentVersion = 0;
    bool operator==(const Stamp& other) const = default;
    // The stamp an owner's answers carry now.
    static Stamp of(std::uint64_t owner);
  };
  struct Entry {
    std::string key;
    std::optional<std::string> value;
    std::string text;
    TLLookupSource source = TLLookupSource::engineOff;
    std::string sourceLanguage;
  };
  struct Probe {
    const Entry* kept = nullptr;  // to be given only while the thread's answers hold
    bool admit = false;           // whether the answer, once made, is worth keeping
  };

  static Probe find(const Stamp& stamp, std::string_view key, std::optional<std::string_view> value);
  // The answer kept under the owner's stamp while the thread's answers hold, as find() would
  // give it, but without noting the key as seen: for a look-up that goes on to find() when this
  // gives nothing. The stamp is taken only once the thread has answers it reads, and the clock
  // (the stamp's platform's, read coarsely) only for an answer found. Valid until the thread's
  // next keep().
  static const Entry* peek(std::uint64_t owner, std::string_view key, std::optional<std::string_view> value);
  static void keep(const Stamp& stamp, std::string_view key, std::optional<std::string_view> value,
                   const TLLocalizedString& answer);
  // Whether the thread's answers need the stores to look for outside changes before they are
  // given again (steady-clock nanoseconds); they always do under a new stamp.
  static bool lapsed(std::int64_t now);
  // After the stores looked and the stamp still stands: the thread's answers hold until then.
  static void confirm(const Stamp& stamp, std::int64_t until);
  // A number no other owner of answers ever had.
  static std::uint64_t newOwner();
};

}  // namespace tolvana
