// Translation answers from the network, through the V1 and V2 parsers into real stores: no
// crash, and no file written outside the app's data directory, whatever the names say.
#include <simdjson.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/FuzzApp.h"
#include "store/TLDatabase.h"
#include "support/Json.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static auto* fuzz = new tolvana::fuzz::FuzzApp;
  auto db = fuzz->engine->database();
  if (!db) return 0;
  std::string_view text(reinterpret_cast<const char*>(data), size);
  // The V2 parser over the text, read in place as a large body from the network is, and
  // both parsers over the decoded document.
  if (size % 3 == 0) {
    std::string body;
    body.reserve(size + simdjson::SIMDJSON_PADDING);
    body.assign(text);
    db->parseResponseV2Json(body);
  } else if (auto value = tolvana::json::parse(text)) {
    size % 3 == 1 ? db->parseResponseV2(*value) : db->parseResponseV1(*value);
  }
  fuzz->engine->localizedStringForKey("hello", "Hello");
  fuzz->endInput();
  return 0;
}
