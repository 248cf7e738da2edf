// Look-ups on several threads while another thread applies server answers: every look-up
// sees a whole text, old or new, and nothing races (run under the tsan preset in CI).
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "core/TLInternal.h"
#include "localization/TLPluralRule.h"
#include "support/Format.h"
#include "tests/support/AppFixture.h"
#include "tolvana/Tolvana.h"

namespace tolvana {
namespace {

using testing::AppFixture;
using testing::StoreContents;

std::string answer(int version) {
  std::string entries;
  for (int i = 0; i < 400; ++i) {
    entries += (i ? "," : "") + format(R"("key%d":{"v":"v%d-%d"})", i, version, i);
  }
  return format(R"({"__v":%d,"baseLanguage":"en","data":{"de":{"main":{"version":%d,"entries":{%@}}}}})", version,
                version, entries);
}

TEST(LookupStress, LookupsDuringAnswers) {
  AppFixture app;
  app.platform.locale->setPreferredLanguages({"de-AT"});
  std::vector<TLLanguageEntry> entries;
  for (int i = 0; i < 400; ++i) entries.push_back({format("key%d", i), format("v1-%d", i), ""});
  app.stores["de"] = StoreContents{entries, {{"main", 1}}};
  app.appLanguage("en", {{"key0", "english", ""}});
  app.install();
  auto engine = TLInternal::sharedInstance();

  std::atomic<bool> stop{false};
  std::atomic<int> bad{0};
  std::vector<std::thread> readers;
  for (int t = 0; t < 4; ++t) {
    readers.emplace_back([&, t] {
      for (int n = 0; n < 200000 && (n < 2000 || !stop); ++n) {
        int i = (n + t) % 50;
        std::string text = t % 2 ? engine->localizedStringForKey(format("key%d", i), "default").text
                                  : Tolvana::localizedStringForKey(format("key%d", i));
        std::string suffix = format("-%d", i);
        if (text.size() < 3 || text[0] != 'v' || !text.ends_with(suffix)) ++bad;
        TLPluralRuleForQuantity(static_cast<std::uint64_t>(n));
        // An answer's rows are written in key order and shown together at its commit: the
        // last key, read after the first, never shows an older version than it.
        int first = std::atoi(engine->localizedStringForKey("key0", "default").text.c_str() + 1);
        int last = std::atoi(engine->localizedStringForKey("key399", "default").text.c_str() + 1);
        if (last < first) ++bad;
      }
    });
  }
  std::thread writer([&] {
    for (int version = 2; version < 40; ++version) {
      EXPECT_TRUE(engine->database()->parseResponseV2Json(answer(version)));
      engine->setInDraftMode(version % 3 == 0);
    }
    stop = true;
  });
  writer.join();
  for (auto& reader : readers) reader.join();
  EXPECT_EQ(bad, 0);
  EXPECT_EQ(engine->database()->valueWithKey("key7", "de"), "v39-7");
}

}  // namespace
}  // namespace tolvana
