#include <gtest/gtest.h>

#include "sync/MissingEntries.h"
#include "tests/support/AppFixture.h"
#include "tests/support/EngineParts.h"

namespace tolvana {
namespace {

using testing::AppFixture;
using testing::EngineParts;

class MissingEntriesTest : public ::testing::Test {
 protected:
  void start(bool debugger = true) {
    app.platform.device->setBeingTraced(debugger);
    app.bundle.info("TolvanaLogLevel", "v");
    for (const char* language : {"en", "de", "en-GB", "de-AT"}) app.appLanguage(language, {{"present", "x", ""}});
    app.install();
    parts = std::make_unique<EngineParts>();
  }
  bool store(std::string_view language, std::string_view key, std::optional<std::string_view> value = "text") {
    return parts->missing.storeMissingEntryForLanguage(language, key, value);
  }
  AppFixture app;
  std::unique_ptr<EngineParts> parts;
};

TEST_F(MissingEntriesTest, NothingWithoutDebuggerOrDraftMode) {
  start(false);
  EXPECT_FALSE(store("en", "k"));
  parts->state.inDraftMode = true;
  EXPECT_TRUE(store("en", "k"));
}

TEST_F(MissingEntriesTest, ChecksInOrder) {
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
  EXPECT_FALSE(parts->missing.storeMissingEntryForLanguage("en", std::nullopt, "x"));

  EXPECT_TRUE(store("de-DE", "k1"));
  EXPECT_TRUE(store("en-GB", "k2"));
  EXPECT_TRUE(store("de-AT", "k3"));
  auto entries = parts->missing.missingEntries();
  EXPECT_TRUE(entries["en"].count("ab"));
  EXPECT_TRUE(entries["de"].count("k1"));
  EXPECT_TRUE(entries["en-GB"].count("k2"));
  EXPECT_TRUE(entries["de-AT"].count("k3"));
}

TEST_F(MissingEntriesTest, FirstNonEmptyTextWinsAndLongSelfKeysWarn) {
  start();
  EXPECT_TRUE(store("en", "k", ""));
  EXPECT_TRUE(store("en", "k", "first"));
  EXPECT_FALSE(store("en", "k", "second"));
  EXPECT_EQ(parts->missing.missingEntries()["en"]["k"], "first");

  // From 21 bytes on, a key that is the very same string as its text draws the warning.
  std::string sentence = "A sentence as own key";
  std::string shorter = sentence.substr(1);
  EXPECT_TRUE(store("en", sentence, sentence));
  EXPECT_TRUE(store("en", shorter, shorter));
  EXPECT_EQ(app.platform.log->count("Key A sentence as own key is the same as the source text"), 1u);
  std::string copy = sentence;
  store("en", sentence, copy);  // equal text, another string: no warning
  EXPECT_EQ(app.platform.log->count("is the same as the source text"), 1u);
}

TEST_F(MissingEntriesTest, MissesInTheQuietPeriodGoUpTogetherAndOnlyAnAcceptedUploadClearsThem) {
  start();
  for (int i = 0; i < 10; ++i) store("en", "key" + std::to_string(i));
  EXPECT_EQ(app.platform.log->count("Queue send missing Translations."), 1u);
  app.platform.clock->advance(std::chrono::milliseconds(9999));
  app.platform.dispatch->drain();
  EXPECT_TRUE(parts->uploads.empty());  // nothing before ten seconds

  app.platform.clock->advance(std::chrono::milliseconds(1));
  ASSERT_TRUE(app.platform.dispatch->runUntil([&] { return !parts->uploads.empty(); }));
  EXPECT_TRUE(app.platform.log->contains("Send missing Translations."));
  EXPECT_EQ(parts->uploads.size(), 1u);
  EXPECT_FALSE(parts->missing.missingEntryUpdateQueued());

  parts->uploads[0](false);
  EXPECT_EQ(parts->missing.missingEntries()["en"].size(), 10u);  // kept for the next request
  EXPECT_FALSE(app.platform.log->contains("Updated missing Translations."));

  // A miss after the refusal queues the next upload, which takes everything along.
  store("en", "key10");
  app.platform.clock->advance(std::chrono::seconds(10));
  ASSERT_TRUE(app.platform.dispatch->runUntil([&] { return parts->uploads.size() == 2; }));
  parts->uploads[1](true);
  EXPECT_TRUE(parts->missing.missingEntries().empty());

  // Nothing queued runs once its owner is gone.
  store("en", "late");
  parts->owner.reset();
  app.platform.clock->advance(std::chrono::seconds(10));
  app.platform.dispatch->drain();
  EXPECT_EQ(parts->uploads.size(), 2u);
}

}  // namespace
}  // namespace tolvana
