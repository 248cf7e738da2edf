// The update request, the missing-string upload and the string tables import against the
// translation server over HTTPS.
#include <gtest/gtest.h>

#include <future>

#include "core/TLInternal.h"
#include "platform/fake/FaultInjectingHttp.h"
#include "platform/posix/CurlHttp.h"
#include "platform/posix/ThreadDispatch.h"
#include "support/Files.h"
#include "support/Json.h"
#include "support/StringUtil.h"
#include "tolvana/BuildConfig.h"
#include "tests/support/AppFixture.h"
#include "tests/support/ServerFixture.h"
#include "tolvana/Tolvana.h"
#include "tolvana/tolvana.h"

namespace tolvana {
namespace {

using testing::AppFixture;
using testing::ServerFixture;
using testing::StoreContents;

class Sync : public ::testing::Test {
 protected:
  void start() {
    app.appLanguage("en", {{"hello", "Hello", ""}});
    app.bundle.info("TolvanaHost", server.baseUrl()).info("TolvanaLogLevel", "v");
    app.platform.http = server.http(app.platform.dispatch);
    app.install();
    engine = TLInternal::sharedInstance();
  }
  // Runs an update to its completion on the main queue; nullopt when none came.
  std::optional<bool> update(std::optional<std::vector<std::string>> languages = std::nullopt,
                             std::chrono::milliseconds limit = std::chrono::seconds(15)) {
    std::optional<bool> result;
    auto done = std::make_shared<std::atomic<int>>(-1);
    engine->updateGroups(std::nullopt, std::move(languages), true, [done](bool ok) { *done = ok ? 1 : 0; });
    if (app.platform.dispatch->runUntil([&] { return *done >= 0; }, limit)) result = *done == 1;
    return result;
  }
  Value::Array requests() { return server.inspect("requests").asArray(); }

  // A small bound on answers, so that endless bodies and bombs meet it in a moment.
  ServerFixture server{{.maxAnswerBytes = 4 << 20}};
  AppFixture app;
  std::shared_ptr<TLInternal> engine;
};

std::string header(const Value& request, const char* name) {
  const Value* value = request.find("headers") ? request.find("headers")->find(name) : nullptr;
  return value && value->isString() ? value->asString() : "";
}

// A host that asks what an update changed hears of each group written, once.
TEST_F(Sync, TheFacadeSaysWhatAnUpdateWrote) {
  app.platform.locale->setPreferredLanguages({"de"});
  app.appLanguage("de", {{"hello", "Hallo", ""}});  // "main" version 1, from the app file
  server.publish("de", "main", {{"hello", "Hallo"}});
  server.publish("de", "main", {{"bye", "Tschüss"}});
  start();
  auto changesOfAnUpdate = [&] {
    auto result = std::make_shared<std::optional<TextChanges>>();
    Tolvana::updateWithChangesHandler([result](bool ok, const TextChanges& changes) {
      *result = ok ? changes : TextChanges{{"failed", {}}};
    });
    app.platform.dispatch->runUntil([&] { return result->has_value(); }, std::chrono::seconds(15));
    return result->value_or(TextChanges{{"no answer", {}}});
  };
  TextChanges first = changesOfAnUpdate();
  ASSERT_EQ(first.size(), 1u);
  ASSERT_EQ(first["de"].size(), 1u);
  EXPECT_EQ(first["de"][0].group, "main");
  EXPECT_EQ(first["de"][0].versionBefore, 1);
  EXPECT_EQ(first["de"][0].versionAfter, 2);
  EXPECT_EQ(first["de"][0].entriesWritten, 2u);
  EXPECT_TRUE(changesOfAnUpdate().empty());
}

TEST_F(Sync, MonthlyReportThenCacheableRequests) {
  start();
  ASSERT_EQ(update(), true);
  EXPECT_TRUE(app.platform.defaults->objectForKey("TolvanaLastMAU").has_value());
  ASSERT_EQ(update(), true);
  ASSERT_EQ(update(), true);
  auto sent = requests();
  ASSERT_EQ(sent.size(), 3u);
  EXPECT_EQ(*sent[0].find("method"), Value("POST"));
  auto body = json::parse(sent[0].find("body")->asString()).value_or(Value());
  EXPECT_EQ(*body.find("deviceModel"), Value("iPhone10,3"));
  EXPECT_EQ(header(sent[0], "Content-Length"), std::to_string(sent[0].find("body")->asString().size()));
  EXPECT_NE(header(sent[0], "timestamp"), "213374411");

  EXPECT_EQ(*sent[1].find("method"), Value("GET"));
  EXPECT_EQ(header(sent[1], "timestamp"), "213374411");
  EXPECT_EQ(header(sent[1], "deviceLanguage"), "en");
  EXPECT_EQ(header(sent[1], "lastversion"), "1");
  EXPECT_EQ(*sent[1].find("target"), *sent[2].find("target"));
  EXPECT_EQ(header(sent[1], "hmac"), header(sent[2], "hmac"));
  EXPECT_TRUE(app.platform.log->contains("successfully initialized!"));
}

// What an update asked for: the body of a POST, the "params" of a GET.
Value sentJson(const Value& request) {
  std::string text = request.find("body")->asString();
  if (text.empty()) {
    const std::string& target = request.find("target")->asString();
    for (std::size_t i = target.find("?params=") + 8; i < target.size(); ++i) {
      bool escaped = target[i] == '%' && i + 2 < target.size();
      text += escaped ? static_cast<char>(std::stoi(target.substr(i + 1, 2), nullptr, 16)) : target[i];
      if (escaped) i += 2;
    }
  }
  return json::parse(text).value_or(Value());
}

TEST_F(Sync, MonthlyReportWhenTheMonthOrTheYearDiffers) {
  start();
  const double now = 1718452800;  // 15 June 2024, noon UTC: mid-month in every time zone
  app.platform.clock->setSecondsSince1970(now);
  const double day = 86400;
  const struct {
    const char* last;
    double at;
    const char* method;
  } cases[] = {
      {"earlier this month", now - 12 * day, "GET"},
      {"the month before", now - 18 * day, "POST"},
      {"the same month a year before", now - 366 * day, "POST"},
      {"the same month a year later", now + 365 * day, "POST"},
  };
  for (const auto& c : cases) {
    app.platform.defaults->setObject("TolvanaLastMAU", c.at);
    ASSERT_EQ(update(), true) << c.last;
    EXPECT_EQ(requests().back().find("method")->asString(), c.method) << c.last;
  }
}

// Draft mode asks for every group of every language afresh, and says so; an answer from a
// project that no longer allows draft mode ends it.
TEST_F(Sync, DraftModeAsksForEverythingAfreshUntilTheProjectForbidsIt) {
  app.platform.locale->setPreferredLanguages({"fr-FR"});
  start();
  const Value afresh = json::parse(R"({"de":{"main":0},"de-AT":{"main":0},"en":{"main":0},"fr":{"main":0},)"
                                   R"("fr-FR":{"main":0}})").value_or(Value());
  const Value supportedOnly = json::parse(R"({"en":{"main":1}})").value_or(Value());
  for (bool draft : {true, false}) {
    engine->setInDraftMode(draft);
    ASSERT_EQ(update(std::vector<std::string>{"de-AT"}), true) << draft;
    Value sent = sentJson(requests().back());
    EXPECT_EQ(*sent.find("requestedData"), draft ? afresh : supportedOnly) << json::serialize(sent);
    EXPECT_EQ(sent.find("returnDraft") ? *sent.find("returnDraft") : Value(), draft ? Value(true) : Value());
    EXPECT_EQ(requests().back().find("method")->asString(), draft ? "POST" : "GET");
  }

  server.request("PATCH", "/admin/v1/projects/app1", R"({"draftModeEnabled":false,"version":2})");
  engine->setInDraftMode(true);
  ASSERT_EQ(update(), true);
  EXPECT_FALSE(engine->isInDraftMode());
  EXPECT_FALSE(TLInternal::readDraftMode(*app.platform.defaults));
}

TEST_F(Sync, NewTextsArriveAndUnchangedGroupsAreNotSentAgain) {
  app.platform.locale->setPreferredLanguages({"de"});
  app.stores["de"] = StoreContents{{{"hello", "Hallo", ""}}, {{"main", 1}}};
  server.publish("de", "main", {{"hello", "Servus"}});  // version 1: not newer
  server.publish("de", "main", {{"hello", "Grüß Gott"}});  // version 2
  start();
  EXPECT_EQ(engine->localizedStringForKey("hello", std::nullopt).text, "Hallo");
  ASSERT_EQ(update(), true);
  EXPECT_EQ(engine->localizedStringForKey("hello", std::nullopt).text, "Grüß Gott");
  EXPECT_EQ(engine->database()->versionForGroup("main", "de"), 2);

  ASSERT_EQ(update(), true);
  auto sent = requests();
  auto target = sent.back().find("target")->asString();
  EXPECT_NE(target.find("%22de%22:%7B%22main%22:2%7D"), std::string::npos) << target;
  EXPECT_FALSE(TLDatabase::isLanguageDeleted("de"));
  EXPECT_EQ(engine->localizedStringForKey("hello", std::nullopt).text, "Grüß Gott");
}

TEST_F(Sync, ProxyDownFallsBackAndStillReportsFailure) {
  ServerFixture proxy{{}};
  proxy.stop();  // a free port that refuses
  app.bundle.info("TolvanaProxyHost", proxy.baseUrl());
  server.publish("en", "main", {{"stale", "Stale"}});
  server.publish("en", "main", {{"fresh", "Fresh"}});  // version 2, newer than the app file's
  start();
  EXPECT_EQ(update(), false);
  EXPECT_TRUE(app.platform.log->contains("Could not connect to proxy. Fallback to public api!"));
  EXPECT_TRUE(app.platform.log->contains("Fallback request successful!"));
  EXPECT_EQ(engine->database()->valueWithKey("fresh", "en"), "Fresh");
}

TEST_F(Sync, MissesGoUpInOneRequestAfterTheQuietPeriod) {
  app.platform.device->setBeingTraced(true);
  start();
  for (int i = 0; i < 10; ++i) engine->localizedStringForKey("new" + std::to_string(i), "Text " + std::to_string(i));
  app.platform.clock->advance(std::chrono::seconds(10));
  ASSERT_TRUE(app.platform.dispatch->runUntil([&] { return app.platform.log->contains("Updated missing Translations."); }));
  auto missing = server.inspect("missing").asArray();
  ASSERT_EQ(missing.size(), 10u);
  EXPECT_EQ(*missing[0].find("language"), Value("en"));
  EXPECT_EQ(*missing[0].find("value"), Value("Text 0"));
  EXPECT_EQ(requests().size(), 1u);
  EXPECT_TRUE(engine->missingEntries().empty());
}

TEST_F(Sync, FaultsEndWithTheRightCompletionAndLoseNothing) {
  app.platform.device->setBeingTraced(true);
  // Only the process's first update gets these time-outs; servers that never answer or drip
  // bytes meet the client's time-outs in DevServer_test.
  app.bundle.info("TolvanaTimeoutIntervalForRequest", 30);
  start();
  // Records what is sent, so the time-outs are checked without waiting for one.
  auto recorder = std::make_shared<FaultInjectingHttp>(server.http(app.platform.dispatch), app.platform.dispatch);
  testing::installPorts([&](Platform::Ports& ports) { ports.http = recorder; });
  engine->storeMissingEntryForLanguage("en", "kept", "Kept text");
  const auto store = readWholeFile(app.storePath("en"));
  ASSERT_TRUE(store);
  struct Case {
    const char* name;
    Value::Dictionary fault;
  } const cases[] = {
      {"server error", {{"status", 500}}},
      {"unauthorised", {{"status", 401}}},
      {"empty body", {{"status", 200}, {"body", ""}}},
      {"blank body", {{"status", 200}, {"body", " \n "}}},
      {"truncated gzip", {{"truncateGzip", true}}},
      {"connection reset", {{"mode", "reset"}}},
      {"short body", {{"mode", "shortBody"}}},
      {"endless body", {{"mode", "endless"}}},
      {"gzip bomb", {{"mode", "gzipBomb"}}},
  };
  for (const Case& c : cases) {
    server.injectFault(c.fault);
    EXPECT_EQ(update(), false) << c.name;
    EXPECT_TRUE(app.platform.dispatch->runUntil([&] { return !engine->isFetchingLocalisationTexts(); })) << c.name;
    EXPECT_EQ(engine->missingEntries()["en"]["kept"], "Kept text") << c.name;
    EXPECT_EQ(readWholeFile(app.storePath("en")), store) << c.name;
  }
  // An answer that is no JSON object ends silently: no completion, still fetching.
  server.injectFault({{"status", 200}, {"body", "OK"}});
  EXPECT_EQ(update(std::nullopt, std::chrono::milliseconds(1500)), std::nullopt);
  EXPECT_TRUE(engine->isFetchingLocalisationTexts());
  EXPECT_EQ(app.platform.log->count("initialized!"), 1u);

  ASSERT_EQ(update(), true);
  EXPECT_EQ(server.inspect("missing").asArray().size(), 1u);  // it went with the next request
  server.stop();
  EXPECT_EQ(update(), false);
  // Only the first request of the process gets the configured time-outs.
  auto sent = recorder->requests();
  EXPECT_EQ(sent.front().requestTimeout, 30);
  EXPECT_EQ(sent.back().requestTimeout, 60);
  EXPECT_EQ(app.platform.log->count("s3cr3t-key"), 0u);  // verbose log, yet the secret never shows
}

// What an update asks, recorded before it would be sent: in draft mode a POST asking for
// every group at version 0 in every language, also those the project lacks, the languages
// given widened by the base and device languages and the bare forms of regional ones; and
// to an enterprise host a cacheable GET, even when the monthly report is due.
TEST(SyncRequests, DraftModeGivenLanguagesAndEnterpriseHosts) {
  struct Case {
    const char* name;
    bool draft;
    std::string host;
    const char* method;
    const char* timestamp;  // nullptr: any but the fixed one
  };
  const std::string enterprise = "https://acme." + split(build::kEnterpriseHosts, ';').front();
  for (const Case& c : {Case{"draft mode", true, "https://example.org", "POST", nullptr},
                        Case{"enterprise host", false, enterprise, "GET", "213374411"}}) {
    SCOPED_TRACE(c.name);
    AppFixture app;
    app.appLanguage("en", {{"hello", "Hello", ""}});
    app.bundle.info("TolvanaHost", c.host);
    app.platform.defaults->setObject("TolvanaDraftMode", c.draft);
    app.platform.locale->setPreferredLanguages({"fr-FR"});
    auto recorder = std::make_shared<FaultInjectingHttp>(nullptr, app.platform.dispatch);
    app.platform.http = recorder;
    app.install();
    auto languages = c.draft ? std::optional<std::vector<std::string>>({"de-AT"}) : std::nullopt;
    TLInternal::sharedInstance()->updateGroups(std::nullopt, languages, false, nullptr);
    ASSERT_EQ(recorder->requests().size(), 1u);
    const HttpRequest sent = recorder->requests().front();
    EXPECT_EQ(sent.method, c.method);
    auto stamp = std::find_if(sent.headers.begin(), sent.headers.end(), [](auto& h) { return h.first == "timestamp"; });
    ASSERT_NE(stamp, sent.headers.end());
    if (c.timestamp) {
      EXPECT_EQ(stamp->second, c.timestamp);
    }
    if (!c.draft) continue;
    auto body = json::parse(sent.body).value_or(Value());
    EXPECT_EQ(json::serialize(body.find("requestedData") ? *body.find("requestedData") : Value()),
              R"({"de":{"main":0},"de-AT":{"main":0},"en":{"main":0},"fr":{"main":0},"fr-FR":{"main":0}})");
    EXPECT_EQ(body.find("returnDraft") ? *body.find("returnDraft") : Value(), Value(true));
  }
}

TEST_F(Sync, AnAnswerThatNoLongerAllowsDraftModeEndsIt) {
  app.platform.defaults->setObject("TolvanaDraftMode", true);
  start();
  engine->addOverlay();
  ASSERT_TRUE(app.platform.dispatch->runUntil([&] { return engine->overlayActive(); }));
  server.injectFault({{"status", 200}, {"body", R"({"__v":2,"baseLanguage":"en","draftModeEnabled":false,"data":{}})"}});
  ASSERT_EQ(update(), true);
  EXPECT_FALSE(engine->isInDraftMode());
  EXPECT_FALSE(TLInternal::readDraftMode(*app.platform.defaults));
  EXPECT_FALSE(engine->overlayActive());
  EXPECT_TRUE(app.platform.dispatch->runUntil([&] {
    auto calls = app.platform.ui->calls();
    return std::find(calls.begin(), calls.end(), "removeOverlay") != calls.end();
  }));
}

TEST_F(Sync, WrongSecretIsRefused) {
  start();
  app.appFile["apiSecret"] = "another";
  app.install();
  engine = TLInternal::sharedInstance();
  EXPECT_EQ(update(), false);
  EXPECT_EQ(*requests().back().find("status"), Value(401));
}

TEST_F(Sync, FirstUpdateImportsTheBundleTables) {
  app.platform.device->setBeingTraced(true);
  app.bundle.strings("en", "Localizable", {{"from.bundle", "Bundle text"}});
  start();
  ASSERT_EQ(update(), true);
  // The import and the gestures follow the completion.
  ASSERT_TRUE(app.platform.dispatch->runUntil([&] { return app.platform.ui->calls().size() == 3; }));
  EXPECT_EQ(app.platform.ui->calls().back(), "addSwipeGestures");
  EXPECT_EQ(engine->missingEntries()["en"]["from.bundle"], "Bundle text");
  app.platform.clock->advance(std::chrono::seconds(10));
  ASSERT_TRUE(app.platform.dispatch->runUntil([&] { return server.inspect("missing").asArray().size() == 1; }));
}

TEST_F(Sync, EngineResetDuringTheRequestStillCompletesOnTheMainQueue) {
  start();
  std::atomic<int> onMain{-1};
  engine->updateGroups(std::nullopt, std::nullopt, true,
                       [&](bool) { onMain = app.platform.dispatch->isMainThread() ? 1 : 0; });
  engine.reset();
  TLInternal::dropInstanceForTesting();
  ASSERT_TRUE(app.platform.dispatch->runUntil([&] { return onMain >= 0; }));
  EXPECT_EQ(onMain, 1);
}

// The C interface's own promise: a callback runs once, on the main queue, after its call has
// returned and outside the engine's lock, whether the engine completes at once (it is off),
// later, or never (an answer that is no JSON object).
struct CallbackSeen {
  std::atomic<int> calls{0}, success{-1};
  std::atomic<bool> onMainQueue{false}, engineLockFree{false};
};

void onUpdate(int success, void* data) {
  auto* seen = static_cast<CallbackSeen*>(data);
  seen->onMainQueue = Platform::Current().dispatch().isMainThread();
  std::thread([seen] {
    auto& lock = TLInternal::sharedInstance()->lock();
    if ((seen->engineLockFree = lock.try_lock())) lock.unlock();
  }).join();
  seen->success = success;
  ++seen->calls;
}

TEST_F(Sync, CInterfaceCallbacksRunOnceOnTheMainQueueAfterTheCall) {
  start();
  for (bool engineOff : {true, false}) {
    SCOPED_TRACE(engineOff ? "engine off" : "an answer that is no JSON object");
    engine->setEnabled(!engineOff);
    if (!engineOff) server.injectFault({{"status", 200}, {"body", "OK"}});
    CallbackSeen seen;
    tolvana_update(onUpdate, &seen);
    EXPECT_EQ(seen.calls, 0) << "called inside tolvana_update";
    ASSERT_TRUE(app.platform.dispatch->runUntil([&] { return seen.calls > 0; }));
    app.platform.dispatch->drain();
    EXPECT_EQ(seen.calls, 1);
    EXPECT_EQ(seen.success, 0);
    EXPECT_TRUE(seen.onMainQueue);
    EXPECT_TRUE(seen.engineLockFree);
  }
}

// A client that owns its dispatch, released while its request runs: the request still ends
// with its completion, and the process goes on.
TEST(CurlHttp, ReleasedWhileItsRequestRuns) {
  ServerFixture server{{}};
  auto http = makeCurlHttp(makeThreadDispatch(), {.extraCaFile = server.caFile()});
  std::promise<int> status;
  http->send(HttpRequest{.method = "GET", .url = server.baseUrl() + "/v4/mobile-apps/sdk/app1"},
             [&status](HttpResponse response) { status.set_value(response.status); });
  http.reset();
  EXPECT_EQ(status.get_future().get(), 401);  // unsigned, so refused
}

// The host's progress observer runs inside libcurl's callbacks: what it throws fails that
// request, which still completes, and goes no further.
TEST(CurlHttp, AnObserverThatThrowsFailsItsRequestOnly) {
  ServerFixture server{{}};
  auto http = makeCurlHttp(makeThreadDispatch(), {.extraCaFile = server.caFile(),
                                                  .proxy = {},
                                                  .onBodyBytes = [](std::size_t) { throw std::runtime_error("observer"); }});
  auto answer = std::make_shared<std::promise<HttpResponse>>();
  auto future = answer->get_future();
  http->send(HttpRequest{.method = "GET", .url = server.baseUrl() + "/v4/mobile-apps/sdk/app1"},
             [answer](HttpResponse response) { answer->set_value(std::move(response)); });
  ASSERT_EQ(future.wait_for(std::chrono::seconds(30)), std::future_status::ready) << "no completion";
  auto response = future.get();
  EXPECT_TRUE(response.error.has_value());
  EXPECT_EQ(response.status, 0);
}

}  // namespace
}  // namespace tolvana
