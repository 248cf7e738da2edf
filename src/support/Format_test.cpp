#include "support/Format.h"

#include <gtest/gtest.h>

#include "support/StringUtil.h"

namespace tolvana {
namespace {

TEST(Format, ConversionsTakeArgumentsInOrder) {
  EXPECT_EQ(format("Version: %@", "2.0.149"), "Version: 2.0.149");
  EXPECT_EQ(format("%ld of %lu, %d%% (%c) %s", 3L, 7UL, 50, 'x', std::string("s")), "3 of 7, 50% (x) s");
  EXPECT_EQ(format("nil is %@", std::optional<std::string>()), "nil is (null)");
  EXPECT_EQ(format("%@ and %@", Value(4.0), Value(true)), "4 and 1");
  EXPECT_EQ(format("missing %@ stays"), "missing %@ stays");
  EXPECT_EQ(format("100%% done, %z left", 1), "100% done, %z left");
}

TEST(StringUtil, TrimSplitAndPaths) {
  EXPECT_EQ(split("", ','), std::vector<std::string>{""});
  EXPECT_EQ(split("a, b,,", ','), (std::vector<std::string>{"a", " b", "", ""}));
  EXPECT_EQ(trimWhitespace(" \t\xC2\xA0x y\xE3\x80\x80 "), "x y");
  EXPECT_EQ(trimWhitespace("\nx\n"), "\nx\n");
  EXPECT_EQ(trimWhitespaceAndNewlines("\r\n x \n"), "x");
  EXPECT_EQ(deletingPathExtension("A.framework"), "A");
  EXPECT_EQ(deletingPathExtension("Errors"), "Errors");
  EXPECT_EQ(deletingPathExtension("dir.d/file"), "dir.d/file");
  EXPECT_EQ(lastPathComponent("/a/b/Kit.framework/"), "Kit.framework");
  EXPECT_EQ(pathExtension("/x/y.sqlite.gz"), "gz");
}

TEST(StringUtil, Utf16Counting) {
  EXPECT_EQ(utf16Length("abc"), 3u);
  EXPECT_EQ(utf16Length("\xC3\xA4\xF0\x9F\x98\x80"), 3u);  // ä and one emoji as a surrogate pair
  std::string prefix;
  ASSERT_TRUE(utf16Prefix("\xC3\xA4" "bcdef", 4, &prefix));
  EXPECT_EQ(prefix, "\xC3\xA4" "bcd");
  EXPECT_FALSE(utf16Prefix("abc", 4, &prefix));
}

}  // namespace
}  // namespace tolvana
