#include "platform/StringsTable.h"

#include <gtest/gtest.h>

#include <fstream>

#include "tests/support/FixtureBundle.h"
#include "tests/support/TempDir.h"

namespace tolvana::strings {
namespace {

using testing::FixtureBundle;
using testing::StringsEncoding;
using testing::TempDir;

struct TextCase {
  const char* text;
  Value::Dictionary expected;
};

TEST(StringsText, ParsesEntriesEscapesAndComments) {
  const TextCase cases[] = {
      {R"("a" = "b";)", {{"a", "b"}}},
      {R"("k" = "1\n2\t3\r\"q\" \\ \' \z";)", {{"k", "1\n2\t3\r\"q\" \\ ' z"}}},
      {R"("k" = "\U00e9\U20AC \UD83D\UDE00";)", {{"k", "é€ 😀"}}},
      {R"("k" = "\UD83Dx \UDE00";)", {{"k", "\uFFFDx \uFFFD"}}},  // unpaired halves
      {R"("k" = "\101\0123\351";)", {{"k", "A\n3é"}}},
      {"/* c */ \"a\" /* x */ = // to the end\n \"b\"; // trailing", {{"a", "b"}}},
      {R"("same"; "x" = "y";)", {{"same", "same"}, {"x", "y"}}},
      {"key.name = value-1/x:y+z$_;", {{"key.name", "value-1/x:y+z$_"}}},
      {"'a' = 'it\"s';", {{"a", "it\"s"}}},
      {"{ \"a\" = \"b\"; }\n", {{"a", "b"}}},
      {"\"a\" = \"old\";\n\"a\" = \"new\";", {{"a", "new"}}},
      {"\"multi\" = \"line\none\";", {{"multi", "line\none"}}},
      {"", {}},
      {"/* all entries commented out */\n// \"a\" = \"b\";\n", {}},
  };
  for (const auto& c : cases) {
    std::string error;
    auto table = parseText(c.text, &error);
    ASSERT_TRUE(table) << c.text << " → " << error;
    EXPECT_EQ(*table, c.expected) << c.text;
  }
}

TEST(StringsText, SyntaxErrorsNameTheLine) {
  const struct {
    const char* text;
    const char* reason;
  } cases[] = {
      {R"("a" = "b")", "line 1: missing ';'"},
      {"\"a\" = \"b\";\n\n\"c\" = \"d\"\n\"e\" = \"f\";", "line 3: missing ';'"},
      {"\"a\" = \"b\";\n\"c\" = \"d", "line 2: unterminated string"},
      {R"("a" = "\)", "line 1: unterminated string"},
      {"\n/* never closed", "line 2: unterminated comment"},
      {R"("a" = ;)", "line 1: expected a value"},
      {"= \"b\";", "line 1: expected a quoted key"},
      {"\"a\" = \"b\";\n@@@", "line 2: expected a quoted key"},
      {R"("a" "b";)", "line 1: missing ';'"},
      {"{ \"a\" = \"b\";", "missing '}'"},
      {"{ } x", "unexpected text after '}'"},
      {"\x01\x02\xFF", "line 1"},
  };
  for (const auto& c : cases) {
    std::string error;
    EXPECT_FALSE(parseText(c.text, &error)) << c.text;
    EXPECT_NE(error.find(c.reason), std::string::npos) << c.text << " → " << error;
  }
}

TEST(StringsFile, ReadsEveryEncoding) {
  TempDir dir;
  FixtureBundle::Entries entries = {{"hello", "Grüß \"dich\" 😀"}, {"multi\nline", "a\\b"}};
  for (auto encoding : {StringsEncoding::Utf8, StringsEncoding::Utf8Bom, StringsEncoding::Utf16Le,
                        StringsEncoding::Utf16Be, StringsEncoding::XmlPlist, StringsEncoding::BinaryPlist}) {
    SCOPED_TRACE(static_cast<int>(encoding));
    std::ofstream(dir.file("t.strings"), std::ios::binary | std::ios::trunc) << FixtureBundle::encodeStrings(entries, encoding);
    std::string error;
    auto table = readDictionaryFile(dir.file("t.strings"), &error);
    ASSERT_TRUE(table) << error;
    EXPECT_EQ(*table, (Value::Dictionary{{"hello", "Grüß \"dich\" 😀"}, {"multi\nline", "a\\b"}}));
  }
}

TEST(StringsFile, KeepsNestedPluralEntriesOfPropertyLists) {
  TempDir dir;
  FixtureBundle bundle(dir.path());
  Value::Dictionary plural{{"items", Value::Dictionary{{"format", "%#@n@"}, {"n", Value::Dictionary{{"one", "%d item"}}}}}};
  bundle.stringsdict("", "Localizable", plural).resource("padded.strings", "\xEF\xBB\xBF \n<plist><dict/></plist>");
  bundle.write();
  EXPECT_EQ(readDictionaryFile(dir.file("Localizable.stringsdict")), plural);
  EXPECT_EQ(readDictionaryFile(dir.file("padded.strings")), Value::Dictionary{});
}

TEST(StringsFile, MalformedFilesGiveAReasonNamingTheFile) {
  auto binary = FixtureBundle::encodeStrings({{"a", "b"}}, StringsEncoding::BinaryPlist);
  const std::string files[] = {
      "",                                                          // empty
      binary.substr(0, binary.size() - 9),                         // truncated binary list
      "<?xml version=\"1.0\"?><plist><array/></plist>",            // not a dictionary
      "<plist><dict><key>a</key>",                                 // broken XML
      std::string("\xFF\xFE\x22\x00\x61", 5),                      // odd UTF-16
      "\"a\" = \"b\"",                                             // text without ';'
  };
  TempDir dir;
  for (const std::string& bytes : files) {
    std::ofstream(dir.file("bad.strings"), std::ios::binary | std::ios::trunc) << bytes;
    std::string error;
    EXPECT_FALSE(readDictionaryFile(dir.file("bad.strings"), &error)) << bytes;
    EXPECT_NE(error.find("bad.strings: "), std::string::npos) << error;
  }
  std::string error;
  EXPECT_FALSE(readDictionaryFile(dir.file("missing.strings"), &error));
  EXPECT_NE(error.find("missing.strings"), std::string::npos);
}

}  // namespace
}  // namespace tolvana::strings
