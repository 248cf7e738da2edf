// PasswordHash: how a console password is kept. scrypt (memory-hard, so guessing needs as
// much memory as time per guess) with a random 16-byte salt, written as
//   scrypt$<log2 N>$<r>$<p>$<salt hex>$<hash hex>
// so that stronger parameters can be chosen later without invalidating the stored hashes.
//
// The cost is N = 2^14, r = 8, p = 1: 16 MiB and some 50 ms of a core per hash on a small
// server (twice that put a sign-in past 100 ms there), which a sign-in can afford and which
// makes guessing many passwords dear.
//
// Thread contract: any thread, at once.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tolvana::server {

class PasswordHash {
 public:
  // The stored form of password, or nothing when the system has no randomness or memory.
  static std::optional<std::string> of(std::string_view password);
  // Whether password hashes to stored (compared in constant time). A stored text that is no
  // hash of ours, or asks for more than a sign-in may spend, matches nothing.
  static bool matches(std::string_view password, std::string_view stored);
  // Spends what a matching attempt spends, for a name that has no account, so that a
  // sign-in's answer time does not tell which names exist.
  static void spendAsIfMatching(std::string_view password);
};

}  // namespace tolvana::server
