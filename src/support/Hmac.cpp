#include "support/Hmac.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>

namespace tolvana {

std::string hexadecimalString(const std::uint8_t* data, std::size_t size) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string hex;
  hex.reserve(size * 2);
  for (std::size_t i = 0; i < size; ++i) {
    hex += kDigits[data[i] >> 4];
    hex += kDigits[data[i] & 15];
  }
  return hex;
}

std::string hmacSha256Hex(std::string_view key, std::string_view message) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()), reinterpret_cast<const unsigned char*>(message.data()),
       message.size(), digest, &length);
  return hexadecimalString(digest, length);
}

std::string signedMessage(std::string_view timestamp, std::string_view payload) {
  std::string message;
  message.reserve(timestamp.size() * 2 + payload.size());
  message.append(timestamp).append(payload).append(timestamp);
  return message;
}

std::vector<std::pair<std::string, std::string>> signingHeaders(
    const std::function<std::string(std::string_view message)>& hmac, const std::string& timestamp,
    std::string_view payload) {
  return {{"hmac", hmac(signedMessage(timestamp, payload))}, {"timestamp", timestamp}};
}

}  // namespace tolvana
