#include "platform/PropertyList.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <limits>

#include "tests/support/TempDir.h"

namespace tolvana::plist {
namespace {

using testing::TempDir;

Value everyKind(double date) {
  // "one" must stay an Integer rather than turn into a Boolean, and "wholeReal" a Real.
  return Value::Dictionary{
      {"bool", true}, {"false", false}, {"one", 1}, {"negative", -7},
      {"max", std::numeric_limits<std::int64_t>::max()}, {"min", std::numeric_limits<std::int64_t>::min()},
      {"real", 3.25}, {"fraction", 0.1}, {"tiny", 1e-300}, {"wholeReal", 2.0},
      {"string", "Grüße <&> \"🙂\""}, {"empty", ""}, {"data", Value::Data{0, 1, 0xFF, '<'}}, {"noData", Value::Data{}},
      {"date", Value::Date{date}}, {"array", Value::Array{1, "two", Value::Array{}, Value::Dictionary{}}},
      {"nested", Value::Dictionary{{"deeper", Value::Dictionary{{"x", 1.5}}}}},
  };
}

class PropertyListFormat : public ::testing::TestWithParam<Format> {};

TEST_P(PropertyListFormat, EveryKindSurvivesARoundTrip) {
  // XML dates carry whole seconds only; binary ones keep the fraction.
  double date = GetParam() == Format::Xml ? 1700000000.0 : 1700000000.25;
  Value original = everyKind(date);
  auto back = parse(serialize(original, GetParam()));
  ASSERT_TRUE(back);
  EXPECT_EQ(*back, original);
  EXPECT_TRUE(back->find("one")->isInteger());
  EXPECT_TRUE(back->find("wholeReal")->isReal());
}

TEST_P(PropertyListFormat, NullsAreLeftOutAndANullRootHasNoForm) {
  Value withNulls = Value::Dictionary{{"gone", nullptr}, {"kept", Value::Array{nullptr, 1}}};
  EXPECT_EQ(parse(serialize(withNulls, GetParam())), Value(Value::Dictionary{{"kept", Value::Array{1}}}));
  EXPECT_TRUE(serialize(Value(), GetParam()).empty());
}

TEST_P(PropertyListFormat, WritesAtomicallyIntoNewDirectoriesAndReplaces) {
  TempDir dir;
  std::string path = dir.file("a/b/prefs.plist");
  ASSERT_TRUE(writeFileAtomically(path, Value::Dictionary{{"v", 1}}, GetParam()));
  ASSERT_TRUE(writeFileAtomically(path, Value::Dictionary{{"v", 2}}, GetParam()));
  EXPECT_EQ(readFile(path), Value(Value::Dictionary{{"v", 2}}));
  int entries = 0;
  for ([[maybe_unused]] auto& e : std::filesystem::directory_iterator(dir.file("a/b"))) ++entries;
  EXPECT_EQ(entries, 1) << "a temporary file was left behind";
}

INSTANTIATE_TEST_SUITE_P(Formats, PropertyListFormat, ::testing::Values(Format::Xml, Format::Binary),
                         [](const auto& info) { return info.param == Format::Xml ? "Xml" : "Binary"; });

TEST(PropertyList, XmlMayStartWithAByteOrderMark) {
  auto bytes = serialize(Value::Dictionary{{"a", 1}}, Format::Xml);
  bytes.insert(bytes.begin(), {0xEF, 0xBB, 0xBF});
  EXPECT_EQ(parse(bytes), Value(Value::Dictionary{{"a", 1}}));
}

TEST(PropertyList, MalformedBytesGiveAReasonNotACrash) {
  auto binary = serialize(everyKind(0), Format::Binary);
  std::vector<std::vector<std::uint8_t>> inputs = {
      {}, {'g', 'a', 'r', 'b', 'a', 'g', 'e'}, {'<', 'p', 'l', 'i', 's', 't', '>'}};
  // Every truncation of a valid binary list, the trailer included.
  for (std::size_t n = 0; n + 1 < binary.size(); n += 7) inputs.emplace_back(binary.begin(), binary.begin() + n);
  for (const auto& bytes : inputs) {
    std::string error;
    EXPECT_FALSE(parse(bytes, &error)) << bytes.size() << " bytes";
    EXPECT_FALSE(error.empty());
  }
}

// Binary lists whose dictionary key holds a NUL: { "\u00e9\0": 1 } (UTF-16; aborted the
// process inside the reader) and { "a\0b": 1 } (ASCII; came back cut to "a").
const std::vector<std::vector<std::uint8_t>> kNulKeyLists = {
    {0x62, 0x70, 0x6c, 0x69, 0x73, 0x74, 0x30, 0x30, 0xd1, 0x01, 0x02, 0x62, 0x00, 0xe9, 0x00, 0x00, 0x10, 0x01,
     0x08, 0x0b, 0x10, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
     0x03, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x12},
    {0x62, 0x70, 0x6c, 0x69, 0x73, 0x74, 0x30, 0x30, 0xd1, 0x01, 0x02, 0x53, 0x61, 0x00, 0x62, 0x10, 0x01, 0x08,
     0x0b, 0x0f, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x03,
     0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x11},
};

TEST(PropertyList, TextThatCannotRoundTripIsRefusedOnBothSides) {
  for (const auto& bytes : kNulKeyLists) {
    std::string error;
    EXPECT_FALSE(parse(bytes, &error));
    EXPECT_NE(error.find("NUL"), std::string::npos) << error;
  }
  using namespace std::string_literals;
  for (std::string text : {"\xff"s, "a\0b"s, "\xC0\xAF"s, "\xED\xA0\x80"s, "cut \xE2\x82"s, "\xF4\x90\x80\x80"s}) {
    for (Value nested : {Value(Value::Dictionary{{"ok", Value::Array{Value::Dictionary{{text, 1}}}}}),
                         Value(Value::Dictionary{{"ok", Value::Array{text}}})}) {
      for (Format format : {Format::Xml, Format::Binary}) {
        std::string error;
        EXPECT_TRUE(serialize(nested, format, &error).empty()) << text;
        EXPECT_FALSE(error.empty());
      }
      EXPECT_FALSE(hasWritableText(nested));
    }
  }
  // libplist's XML reader takes raw bytes that are no UTF-8; they would not read back.
  std::string xml = "<plist><dict><key>k</key><string>io.tolvan\x9c\xd1" "e</string></dict></plist>";
  EXPECT_FALSE(parse(std::vector<std::uint8_t>(xml.begin(), xml.end())));
}

TEST(PropertyList, FileErrorsNameTheFile) {
  TempDir dir;
  std::string error;
  EXPECT_FALSE(readFile(dir.file("missing.plist"), &error));
  EXPECT_NE(error.find("missing.plist"), std::string::npos);
  EXPECT_FALSE(writeFileAtomically(dir.file("null.plist"), Value(), Format::Xml, &error));
  EXPECT_NE(error.find("null.plist"), std::string::npos);
}

}  // namespace
}  // namespace tolvana::plist
