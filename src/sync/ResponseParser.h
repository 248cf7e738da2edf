// ResponseParser: turns the server's update answer (V2) and the app file of the settings
// archive (V1) into the per-language stores of a TLDatabase.
//
// The V2 answer of a large project runs to tens of megabytes, so it is streamed from its
// JSON text straight into the stores' prepared statements, without building a tree. The
// answer comes from a network and is not trusted: a value of the wrong JSON type is skipped
// with an error line, and no transaction is ever left open.
//
// Thread contract: the caller holds the database's lock for the whole parse.
#pragma once

#include <string_view>

#include "tolvana/Value.h"

namespace tolvana {

class TLDatabase;

class ResponseParser {
 public:
  explicit ResponseParser(TLDatabase& database) : database_(database) {}
  // True when the answer was accepted (an empty object included); false when it lacked a
  // version or a base language, or was no JSON object.
  bool parseV2(std::string_view json);
  bool parseV1(const Value& appFile);

 private:
  TLDatabase& database_;
};

}  // namespace tolvana
