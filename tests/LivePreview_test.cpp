// The live preview against the translation server: it listens only in draft mode with the
// app's opt-in, and an edit made through the admin API reaches the app's store.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "core/TLInternal.h"
#include "tests/support/AppFixture.h"
#include "tests/support/ServerFixture.h"

namespace tolvana {
namespace {

using testing::AppFixture;
using testing::ServerFixture;

// Counts the live-preview requests on their way to the real client.
class CountingHttp final : public Http {
 public:
  explicit CountingHttp(std::shared_ptr<Http> inner) : inner_(std::move(inner)) {}
  void send(HttpRequest request, std::function<void(HttpResponse)> completion) override {
    if (request.url.find("/changes?") != std::string::npos) ++listening;
    inner_->send(std::move(request), std::move(completion));
  }
  std::atomic<int> listening{0};

 private:
  std::shared_ptr<Http> inner_;
};

bool waitFor(const std::function<bool()>& done) {
  for (int i = 0; i < 1000 && !done(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  return done();
}

TEST(LivePreview, ListensOnlyInDraftModeWithTheOptInAndBringsAnEdit) {
  ServerFixture server{{}};
  server.publish("de", "main", {{"hello", "Hallo"}});
  const struct {
    const char* name;
    bool draftMode, optIn, listens;
  } cases[] = {
      {"draft mode without the opt-in", true, false, false},
      {"the opt-in outside draft mode", false, true, false},
      {"draft mode with the opt-in", true, true, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    AppFixture app;
    app.platform.locale->setPreferredLanguages({"de"});
    app.appLanguage("de", {{"hello", "Hallo", ""}});
    app.bundle.info("TolvanaHost", server.baseUrl()).info("TolvanaLivePreview", c.optIn);
    app.platform.defaults->setObject("TolvanaDraftMode", c.draftMode);
    auto http = std::make_shared<CountingHttp>(server.http());
    app.platform.http = http;
    app.install();
    auto engine = TLInternal::sharedInstance();
    std::atomic<int> updated{-1};
    engine->updateGroups(std::nullopt, std::nullopt, false, [&](bool ok) { updated = ok; });
    ASSERT_TRUE(waitFor([&] { return updated >= 0; }));
    EXPECT_EQ(engine->livePreviewListening(), c.listens);
    if (!c.listens) {
      EXPECT_EQ(http->listening, 0);
      continue;
    }
    // The first request learns the server's cursor; the second is the one held open.
    ASSERT_TRUE(waitFor([&] { return http->listening >= 2; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    server.request("PUT", "/admin/v1/projects/app1/entries",
                   R"({"entries":[{"language":"de","group":"main","key":"hello","draft":"Hallo, live"}]})");
    EXPECT_TRUE(waitFor([&] { return engine->localizedStringForKeyAndLanguage("hello", "de") == "Hallo, live"; }));
    // Leaving draft mode ends the listening once the held request returns.
    engine->setInDraftMode(false);
    server.request("PUT", "/admin/v1/projects/app1/entries",
                   R"({"entries":[{"language":"de","group":"main","key":"hello","draft":"Hallo"}]})");
    EXPECT_TRUE(waitFor([&] { return !engine->livePreviewListening(); }));
  }
}

}  // namespace
}  // namespace tolvana
