#include "api/PasswordHash.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <charconv>
#include <vector>

#include "support/Hmac.h"

namespace tolvana::server {

namespace {

struct Cost {
  int logN = 14;
  int r = 8;
  int p = 1;
};
constexpr std::size_t kSaltBytes = 16, kHashBytes = 32;
// What one check may use: a stored hash that asks for more is refused, not computed.
constexpr std::uint64_t kMaxMemory = 256ull << 20;

std::optional<std::vector<unsigned char>> derive(std::string_view password, const std::vector<unsigned char>& salt,
                                                 const Cost& cost) {
  std::vector<unsigned char> out(kHashBytes);
  // scrypt needs 128 * N * r bytes, and a little more for itself.
  std::uint64_t memory = 128ull * (1ull << cost.logN) * cost.r * cost.p + (1u << 20);
  if (EVP_PBE_scrypt(password.data(), password.size(), salt.data(), salt.size(), 1ull << cost.logN, cost.r, cost.p,
                     memory, out.data(), out.size()) != 1) {
    return std::nullopt;
  }
  return out;
}

std::optional<std::vector<unsigned char>> fromHex(std::string_view hex) {
  if (hex.size() % 2) return std::nullopt;
  std::vector<unsigned char> bytes(hex.size() / 2);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    auto [end, error] = std::from_chars(hex.data() + 2 * i, hex.data() + 2 * i + 2, bytes[i], 16);
    if (error != std::errc() || end != hex.data() + 2 * i + 2) return std::nullopt;
  }
  return bytes;
}

std::optional<int> number(std::string_view text) {
  int value = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::vector<std::string_view> fields(std::string_view text) {
  std::vector<std::string_view> parts;
  for (std::size_t at = 0;;) {
    auto next = text.find('$', at);
    parts.push_back(text.substr(at, next == std::string_view::npos ? next : next - at));
    if (next == std::string_view::npos) return parts;
    at = next + 1;
  }
}

}  // namespace

std::optional<std::string> PasswordHash::of(std::string_view password) {
  std::vector<unsigned char> salt(kSaltBytes);
  if (RAND_bytes(salt.data(), static_cast<int>(salt.size())) != 1) return std::nullopt;
  Cost cost;
  auto hash = derive(password, salt, cost);
  if (!hash) return std::nullopt;
  return "scrypt$" + std::to_string(cost.logN) + "$" + std::to_string(cost.r) + "$" + std::to_string(cost.p) + "$" +
         hexadecimalString(salt.data(), salt.size()) + "$" + hexadecimalString(hash->data(), hash->size());
}

bool PasswordHash::matches(std::string_view password, std::string_view stored) {
  auto parts = fields(stored);
  if (parts.size() != 6 || parts[0] != "scrypt") return false;
  auto logN = number(parts[1]), r = number(parts[2]), p = number(parts[3]);
  auto salt = fromHex(parts[4]), expected = fromHex(parts[5]);
  if (!logN || !r || !p || !salt || !expected || *logN < 1 || *logN > 24 || *r < 1 || *r > 32 || *p < 1 || *p > 16 ||
      expected->size() != kHashBytes || 128ull * (1ull << *logN) * *r * *p > kMaxMemory) {
    return false;
  }
  auto hash = derive(password, *salt, Cost{*logN, *r, *p});
  return hash && CRYPTO_memcmp(hash->data(), expected->data(), kHashBytes) == 0;
}

void PasswordHash::spendAsIfMatching(std::string_view password) {
  derive(password, std::vector<unsigned char>(kSaltBytes), Cost{});
}

}  // namespace tolvana::server
