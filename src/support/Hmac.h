// Request signatures: HMAC-SHA256 in lower-case hexadecimal.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tolvana {

// 64 lower-case hexadecimal characters.
std::string hmacSha256Hex(std::string_view key, std::string_view message);
// Two lower-case hexadecimal digits per byte; empty for no bytes.
std::string hexadecimalString(const std::uint8_t* data, std::size_t size);

// What a request to the translation server is signed over: its payload between two copies of
// its time stamp, so that neither can be sent again with another.
std::string signedMessage(std::string_view timestamp, std::string_view payload);
// The headers that sign a request, "hmac" and "timestamp", ahead of any other it sends; hmac
// is the app's keyed hash of a message.
std::vector<std::pair<std::string, std::string>> signingHeaders(
    const std::function<std::string(std::string_view message)>& hmac, const std::string& timestamp,
    std::string_view payload);

}  // namespace tolvana
