#include "support/Hmac.h"

#include <gtest/gtest.h>

namespace tolvana {
namespace {

TEST(Hmac, KnownAnswerAndHexShape) {
  // RFC 4231 test case 2.
  EXPECT_EQ(hmacSha256Hex("Jefe", "what do ya want for nothing?"),
            "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843");
  EXPECT_EQ(hmacSha256Hex("", "").size(), 64u);
  const std::uint8_t bytes[] = {0x00, 0x0f, 0xa0, 0xff};
  EXPECT_EQ(hexadecimalString(bytes, 4), "000fa0ff");
  EXPECT_EQ(hexadecimalString(bytes, 0), "");
}

}  // namespace
}  // namespace tolvana
