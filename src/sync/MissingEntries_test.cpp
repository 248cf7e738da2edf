#include <gtest/gtest.h>

#include "core/TLInternal.h"
#include "platform/fake/FaultInjectingHttp.h"
#include "tests/support/AppFixture.h"

namespace tolvana {
namespace {

using testing::AppFixture;

class MissingEntries : public ::testing::Test {
 protected:
  void start(bool debugger = true) {
    app.platform.device->setBeingTraced(debugger);
    app.bundle.info("TolvanaLogLevel", "v");
    for (const char* language : {"en", "de", "en-GB", "de-AT"}) app.appLanguage(language, {{"present", "x", ""}});
    // No server: every request is refused, so uploads fail and the collection stays.
    http = std::make_shared<FaultInjectingHttp>(nullptr, app.platform.dispatch);
    app.platform.http = http;
    app.install();
    engine = TLInternal::sharedInstance();
  }
  bool store(std::string_view language, std::string_view key, std::optional<std::string_view> value = "text") {
    return engine->storeMissingEntryForLanguage(language, key, value);
  }
  AppFixture app;
  std::shared_ptr<FaultInjectingHttp> http;
  std::shared_ptr<TLInternal> engine;
};

TEST_F(MissingEntries, NothingWithoutDebuggerOrDraftMode) {
  start(false);
  EXPECT_FALSE(store("en", "k"));
  engine->setInDraftMode(true);
  EXPECT_TRUE(store("en", "k"));
}

TEST_F(MissingEntries, ChecksInOrder) {
  start();
  std::string longest(997, 'k');
  EXPECT_TRUE(store("en", longest));
  EXPECT_FALSE(store("en", longest + "k"));
  EXPECT_TRUE(app.platform.log->contains(
      "You are using an ID that is to large to be uploaded to Tolvana since the maximum ID length is 997 Bytes while "
      "yours is 998."));
  EXPECT_FALSE(store("en", "\n\n"));
  EXPECT_TRUE(store("en", "a\nb"));
  EXPECT_FALSE(store("it", "k"));  // the project has no it
  EXPECT_FALSE(engine->storeMissingEntryForLanguage("en", std::nullopt, "x"));

  EXPECT_TRUE(store("de-DE", "k1"));
  EXPECT_TRUE(store("en-GB", "k2"));
  EXPECT_TRUE(store("de-AT", "k3"));
  auto entries = engine->missingEntries();
  EXPECT_TRUE(entries["en"].count("ab"));
  EXPECT_TRUE(entries["de"].count("k1"));
  EXPECT_TRUE(entries["en-GB"].count("k2"));
  EXPECT_TRUE(entries["de-AT"].count("k3"));
}

TEST_F(MissingEntries, FirstNonEmptyTextWinsAndLongSelfKeysWarn) {
  start();
  EXPECT_TRUE(store("en", "k", ""));
  EXPECT_TRUE(store("en", "k", "first"));
  EXPECT_FALSE(store("en", "k", "second"));
  EXPECT_EQ(engine->missingEntries()["en"]["k"], "first");

  std::string sentence = "A sentence used as its own key";
  EXPECT_TRUE(store("en", sentence, sentence));  // the very same characters
  EXPECT_EQ(app.platform.log->count("Key A sentence used as its own key is the same as the source text"), 1u);
  std::string copy = sentence;
  store("en", sentence, copy);  // equal text, another string: no warning
  EXPECT_EQ(app.platform.log->count("is the same as the source text"), 1u);
}

TEST_F(MissingEntries, MissesInTheQuietPeriodGoUpTogetherAndARefusedUploadKeepsThem) {
  start();
  for (int i = 0; i < 10; ++i) store("en", "key" + std::to_string(i));
  EXPECT_EQ(app.platform.log->count("Queue send missing Translations."), 1u);
  app.platform.dispatch->drain();
  EXPECT_TRUE(http->requests().empty());  // nothing before ten seconds

  app.platform.clock->advance(std::chrono::seconds(10));
  ASSERT_TRUE(app.platform.dispatch->runUntil([&] { return !http->requests().empty(); }));
  EXPECT_TRUE(app.platform.log->contains("Send missing Translations."));
  ASSERT_EQ(http->requests().size(), 1u);
  EXPECT_EQ(http->requests()[0].method, "POST");
  EXPECT_NE(http->requests()[0].body.find(R"("key9":"text")"), std::string::npos);
  EXPECT_FALSE(engine->missingEntryUpdateQueued());

  app.platform.dispatch->runUntil([&] { return !engine->isFetchingLocalisationTexts(); });
  EXPECT_EQ(engine->missingEntries()["en"].size(), 10u);  // kept for the next request
  EXPECT_FALSE(app.platform.log->contains("Updated missing Translations."));
}

}  // namespace
}  // namespace tolvana
