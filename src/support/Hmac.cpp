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

}  // namespace tolvana
