// JSON text <-> Value, through nlohmann-json. Object keys come out sorted, so equal values
// give byte-identical text (requests that a cache can serve depend on that).
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tolvana/Value.h"

namespace tolvana::json {

// Nullopt with a reason when the text is not JSON. Numbers with a fraction or exponent
// become reals, others integers.
std::optional<Value> parse(std::string_view text, std::string* error = nullptr);
// Compact JSON with sorted keys; data as base64 text, dates as seconds.
std::string serialize(const Value& value);

}  // namespace tolvana::json
