// Request signatures: HMAC-SHA256 in lower-case hexadecimal.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tolvana {

// 64 lower-case hexadecimal characters.
std::string hmacSha256Hex(std::string_view key, std::string_view message);
// Two lower-case hexadecimal digits per byte; empty for no bytes.
std::string hexadecimalString(const std::uint8_t* data, std::size_t size);

}  // namespace tolvana
