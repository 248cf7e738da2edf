// ResponseParser: turns the server's update answer (V2) and the app file of the settings
// archive (V1) into the per-language stores of a TLDatabase.
//
// The V2 answer comes from a network and is not trusted. It is parsed and validated whole
// before the first write, so a malformed answer writes nothing; a value of the wrong JSON
// type is skipped with an error line, a language code that cannot name a file is refused,
// each group is written in one transaction that either stores all its entries or none, and
// no transaction is ever left open.
//
// Thread contract: the caller holds the database's lock for the whole parse.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "tolvana/TextChanges.h"
#include "tolvana/Value.h"

namespace tolvana {

class TLDatabase;

// The keys whose texts a parse changed, in any language (repeats left in). Past a bound the
// list is given up: an update that large changes most of what is shown anyway, and collecting
// and sorting it would slow the ingest of a whole project.
struct ChangedKeys {
  static constexpr std::size_t kMaxKept = 4096;
  std::vector<std::string> keys;
  bool complete = true;
  void add(std::string_view key) {
    if (!complete) return;
    if (keys.size() < kMaxKept) return void(keys.emplace_back(key));
    complete = false;
    keys = {};
  }
};

class ResponseParser {
 public:
  // How many languages without a store one answer may bring; the rest wait for a later one.
  static constexpr std::size_t kMaxNewLanguagesPerAnswer = 100;

  explicit ResponseParser(TLDatabase& database) : database_(database) {}
  // True when the answer was accepted (an empty object included); false when it lacked a
  // version or a base language, or was no well-formed JSON object. An accepted answer may
  // still have groups it could not write: TLDatabase::unwrittenGroups() counts them. A text
  // whose spare capacity holds the JSON parser's padding is read where it lies, uncopied.
  // changes, when given, gets what the parse wrote; keys, the key of every entry whose texts
  // it changed or may have changed.
  bool parseV2(const std::string& json, TextChanges* changes = nullptr, ChangedKeys* keys = nullptr);
  // What a V1 parse wrote: the languages whose transaction committed, and whether every one did.
  struct V1Writes {
    std::vector<std::string> languages;
    bool complete = true;
  };
  bool parseV1(const Value& appFile, V1Writes* writes = nullptr);

 private:
  TLDatabase& database_;
};

}  // namespace tolvana
