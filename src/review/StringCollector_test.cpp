#include "review/StringCollector.h"

#include <gtest/gtest.h>

#include "review/TLStringCache.h"
#include "support/Json.h"
#include "tests/support/AppFixture.h"
#include "tests/support/EngineParts.h"

namespace tolvana {
namespace {

using testing::AppFixture;
using testing::EngineParts;

UiView label(std::string text, UiRect frame, std::string textKey = "", std::string viewKey = "") {
  UiView view;
  view.text = std::move(text);
  view.frame = frame;
  view.textKey = std::move(textKey);
  view.viewKey = std::move(viewKey);
  return view;
}

std::vector<std::string> shown(const std::optional<std::vector<TLStringPosition>>& positions) {
  std::vector<std::string> out;
  for (const auto& position : positions.value_or(std::vector<TLStringPosition>{})) {
    out.push_back(json::serialize(position.serialize()));
  }
  return out;
}

struct Detection : ::testing::Test {
  AppFixture app;
  std::unique_ptr<EngineParts> parts;
  std::unique_ptr<StringCollector> collector;
  void SetUp() override {
    app.appLanguage("en", {{"title", "Welcome", ""}, {"Hello", "Hi", ""}});
    app.install();
    parts = std::make_unique<EngineParts>();
    collector = std::make_unique<StringCollector>(StringCollector::Context{
        parts->state, [this](std::string_view key) { return parts->lookup.entryExists(key); },
        [this](std::string_view key) { return parts->lookup.localizedStringForKey(key, std::nullopt, std::nullopt, nullptr).text; }});
  }
};

TEST_F(Detection, WalkKeysFramesAndSkippedSubtrees) {
  UiView root;  // a textless window
  root.subviews = {label("Welcome", {10.5, 20, 100, 30}, "title"),
                   label("Loose text", {0, 60, 50, 20}),
                   label("Welcome", {0, 90, 50, 20}, "", "title"),  // the label kept the key
                   label("Old", {0, 120, 50, 20}, "gone"),            // key no longer in the store
                   label("Huge", {-10, -10, 500, 900}),               // overhangs every side
                   label("Half off", {-40, 5, 80, 10})};
  UiView hidden = label("Hidden", {0, 0, 1, 1});
  hidden.hidden = true;
  hidden.subviews = {label("Below hidden", {0, 0, 1, 1})};
  UiView clear = label("Clear", {0, 0, 1, 1});
  clear.alpha = 0;
  UiView faint = label("Faint", {1, 1, 1, 1});
  faint.alpha = 0.01;
  faint.subviews = {label("In faint", {2, 2, 1, 1})};
  root.subviews.insert(root.subviews.end(), {hidden, clear, faint});

  EXPECT_EQ(shown(collector->collectStringsInView(&root)),
            (std::vector<std::string>{
                R"({"height":90,"key":"title","width":300,"x":31,"y":60})",
                R"({"height":60,"text":"Loose text","width":150,"x":0,"y":180})",
                R"({"height":60,"key":"title","width":150,"x":0,"y":270})",
                R"({"height":60,"text":"Old","width":150,"x":0,"y":360})",
                R"({"height":30,"text":"Half off","width":240,"x":-120,"y":15})",
                R"({"height":3,"text":"Faint","width":3,"x":3,"y":3})",
                R"({"height":3,"text":"In faint","width":3,"x":6,"y":6})",
            }));
  EXPECT_EQ(collector->collectStringsInView(&hidden), std::nullopt);
  EXPECT_EQ(collector->collectStringsInView(nullptr), std::nullopt);

  // Look-ups show keys in show-ID mode, so the shown text is the key, if the store has it.
  parts->state.inShowIdMode = true;
  UiView ids;
  ids.subviews = {label("title", {0, 0, 1, 1}), label("not.a.key", {0, 0, 1, 1}, "title")};
  EXPECT_EQ(shown(collector->collectStringsInView(&ids)),
            (std::vector<std::string>{R"({"height":3,"key":"title","width":3,"x":0,"y":0})",
                                      R"({"height":3,"text":"not.a.key","width":3,"x":0,"y":0})"}));
}

TEST_F(Detection, KeyListsGiveFramelessPositions) {
  auto positions = collector->positionsForKeys({"title", "", "gone"});
  EXPECT_EQ(shown(positions), (std::vector<std::string>{R"({"height":-1,"key":"title","width":-1,"x":-1,"y":-1})"}));
  EXPECT_EQ(positions.front().description(),
            "TLStringPosition\n key : title\n value : Welcome\n x : -1\n y : -1\n width : -1\n height : -1\n");
}

TEST(TLStringCache, KeepsTheMostRecentFortyFive) {
  TLStringCache& cache = TLStringCache::sharedInstance();
  for (int i = 0; i < 46; ++i) cache.addStringKey("key" + std::to_string(i), "text" + std::to_string(i));
  EXPECT_EQ(cache.getKeyForValue("text0"), std::nullopt);
  EXPECT_EQ(cache.getKeyForValue("text1"), "key1");
  cache.addStringKey("key1b", "text1");
  cache.addStringKey("key46", "text46");  // evicts text2, as text1 was used since
  EXPECT_EQ(cache.getKeyForValue("text1"), "key1b");
  EXPECT_EQ(cache.getKeyForValue("text2"), std::nullopt);
}

}  // namespace
}  // namespace tolvana
