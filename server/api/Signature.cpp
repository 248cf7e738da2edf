#include "api/Signature.h"

#include <openssl/crypto.h>
#include <openssl/sha.h>

#include <charconv>

#include "support/Hmac.h"

namespace tolvana::server {

std::optional<std::string> Signature::problem(const httplib::Request& request, const Check& check) {
  const std::string timestamp = request.get_header_value("timestamp");
  const std::string hmac = request.get_header_value("hmac");
  if (timestamp.empty() || hmac.empty()) return "the request is not signed";
  std::int64_t seconds = 0;
  auto [end, error] = std::from_chars(timestamp.data(), timestamp.data() + timestamp.size(), seconds);
  if (error != std::errc() || end != timestamp.data() + timestamp.size() || seconds < 0) {
    return "the time stamp is no number of seconds";
  }
  if (timestamp == kCacheableTimestamp) {
    if (!check.cacheable) return "the fixed time stamp of cacheable requests on a request that changes something";
  } else if (check.maxClockSkewSeconds > 0 &&
             (seconds < check.now - check.maxClockSkewSeconds || seconds > check.now + check.maxClockSkewSeconds)) {
    return "the time stamp " + timestamp + " is more than " + std::to_string(check.maxClockSkewSeconds) +
           " s away from the server's clock";
  }
  if (!sameSignature(hmac, of(check.secret, timestamp, check.text))) return "the signature does not match";
  return std::nullopt;
}

std::string Signature::of(std::string_view secret, std::string_view timestamp, std::string_view text) {
  return hmacSha256Hex(secret, signedMessage(timestamp, text));
}

bool Signature::sameSignature(std::string_view sent, std::string_view expected) {
  return sent.size() == expected.size() && CRYPTO_memcmp(sent.data(), expected.data(), sent.size()) == 0;
}

bool Signature::sameSecret(std::string_view a, std::string_view b) {
  // Digests of both sides have one length whatever was sent, so not even the length leaks.
  unsigned char da[SHA256_DIGEST_LENGTH], db[SHA256_DIGEST_LENGTH];
  SHA256(reinterpret_cast<const unsigned char*>(a.data()), a.size(), da);
  SHA256(reinterpret_cast<const unsigned char*>(b.data()), b.size(), db);
  return CRYPTO_memcmp(da, db, sizeof da) == 0;
}

}  // namespace tolvana::server
