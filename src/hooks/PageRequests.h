// PageRequests: what both page transports ask of the engine, with the page's loosely typed
// values read the way the pages send them. A page may send anything; nothing here throws
// for a value of the wrong kind.
//
// Thread contract: look-ups on any thread; update completions on the main queue.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tolvana/Value.h"

namespace tolvana {

class PageRequests {
 public:
  using Arguments = std::map<std::string, std::string>;
  static constexpr std::size_t kMaxNamesPerUpdate = 32;

  // Null and absent are none; other kinds give their text.
  static std::optional<std::string> text(const Value* value);
  // The leading integer of a number or a text ("3 items" → 3), 0 when there is none.
  static std::int64_t integer(const Value& value);

  // The look-up of a page element: with a plural rule word, else a quantity, else arguments,
  // else plain. The empty string when the key is none.
  struct Lookup {
    std::optional<std::string> key;
    Arguments arguments;
    std::optional<std::string> pluralRule;
    const Value* pluralQuantity = nullptr;
    std::optional<std::string> defaultValue;
  };
  static std::string lookUp(const Lookup& lookup);
  // The plural word of a quantity in the device language, none for no rule.
  static std::optional<std::string> pluralRuleWordForQuantity(const Value& quantity);

  // Updates the groups (split at the separator) in the languages (split at commas), parts
  // trimmed; completion gets the outcome on the main queue. A page names at most
  // kMaxNamesPerUpdate of each, and only names of their form: a request with any other is
  // refused whole (logged, completion false) and never reaches the server.
  static void updateGroups(const std::optional<std::string>& groups, const std::optional<std::string>& languages,
                           std::string_view separator, std::function<void(bool)> completion);
  // The text as a JSON string literal, the one form in which a value goes into a script the
  // app runs in a page: nothing in it can end the call it is an argument of.
  static std::string literal(std::string_view text);
  // The parts between separators, trimmed; the whole text when the separator is empty.
  static std::vector<std::string> splitTrimmed(std::string_view text, std::string_view separator);
};

}  // namespace tolvana
