#include "sync/LiveNotice.h"

#include <gtest/gtest.h>

namespace tolvana {
namespace {

// Anything the server sends is checked; one bad change drops the whole notice.
TEST(LiveNotice, ReadsNamesAndRefusesWhatIsNoNotice) {
  std::string many = R"({"cursor":"r.1","changes":[)";
  for (std::size_t i = 0; i <= LiveNotice::kMaxChanges; ++i) many += std::string(i ? "," : "") + R"({"language":"de","group":"g"})";
  many += "]}";
  const struct {
    const char* name;
    std::string body;
    bool read;
  } cases[] = {
      {"no JSON", "<html>", false},
      {"no object", "[1]", false},
      {"no cursor", R"({"changes":[]})", false},
      {"cursor too long", R"({"cursor":")" + std::string(65, 'a') + R"("})", false},
      {"changes no array", R"({"cursor":"r.1","changes":{}})", false},
      {"language no code", R"({"cursor":"r.1","changes":[{"language":"../x","group":"main"}]})", false},
      {"group empty", R"({"cursor":"r.1","changes":[{"language":"de","group":""}]})", false},
      {"group missing", R"({"cursor":"r.1","changes":[{"language":"de"}]})", false},
      {"resync no Boolean", R"({"cursor":"r.1","resync":1})", false},
      {"too many changes", many, false},
      {"nothing changed", R"({"cursor":"r.1","changes":[]})", true},
  };
  for (const auto& c : cases) EXPECT_EQ(LiveNotice::parse(c.body).has_value(), c.read) << c.name;

  auto notice = LiveNotice::parse(
      R"({"cursor":"r.7","resync":false,"changes":[{"language":"de","group":"main"},{"language":"fr","group":"main"},)"
      R"({"language":"de","group":"web"}],"extra":"ignored"})");
  ASSERT_TRUE(notice);
  EXPECT_EQ(notice->cursor, "r.7");
  EXPECT_EQ(notice->groups, (std::vector<std::string>{"main", "web"}));
  EXPECT_EQ(notice->languages, (std::vector<std::string>{"de", "fr"}));
  EXPECT_FALSE(notice->resync);
}

}  // namespace
}  // namespace tolvana
