#include "tolvana/TLJSBridge.h"

#include <gtest/gtest.h>

#include "core/TLInternal.h"
#include "support/Json.h"
#include "tests/support/AppFixture.h"
#include "tests/support/ServerFixture.h"

namespace tolvana {
namespace {

using testing::AppFixture;
using testing::ServerFixture;

// Keeps what the bridge asks of a web view.
struct RecordingWebView final : WebView {
  void addScriptMessageHandler(std::string_view name, MessageHandler handler) override {
    handlerName = name;
    this->handler = std::move(handler);
  }
  void addUserScript(std::string_view source) override { scripts.emplace_back(source); }
  void evaluateJavaScript(std::string_view script) override { evaluated.emplace_back(script); }
  std::string handlerName;
  MessageHandler handler;
  std::vector<std::string> scripts;
  std::vector<std::string> evaluated;
};

struct BridgeApp {
  explicit BridgeApp(bool translateWebViews = true) {
    app.appLanguage("en", {{"plain", "Line one\nsaid \"hi\"", ""},
                           {"greeting", "Hello %{0} and %{1}", ""},
                           {"named", "Hi %{name}", ""},
                           {"items[one]", "%{0} item", ""},
                           {"items[other]", "%{0} items", ""}});
    app.bundle.info("TolvanaTranslateWebViews", translateWebViews);
    app.platform.locale->setPreferredLanguages({"en"});
    app.install();
  }
  std::string answer(const std::string& message) {
    auto view = std::make_shared<RecordingWebView>();
    TLJSBridge::handleJSCall(view, json::parse(message).value());
    return view->evaluated.empty() ? "" : view->evaluated.back();
  }
  AppFixture app;
};

TEST(TLJSBridge, GetStringAnswersEveryKindOfLookUpEscapedForTheScriptCall) {
  BridgeApp bridge;
  struct Case {
    const char* message;
    const char* answer;
  };
  const Case cases[] = {
      {R"({"method":"getString","id":"plain","callback":"c1"})",
       R"(TolvanaGetStringFinished("c1","Line one\said &quot;hi&quot;"))"},
      {R"({"method":"getString","id":"greeting","args":"Ann , Bo","argsSeparator":",","callback":"c"})",
       R"(TolvanaGetStringFinished("c","Hello Ann and Bo"))"},
      {R"({"method":"getString","id":"named","args":"{'name':'Cy'}","argsSeparator":"JSON","callback":"c"})",
       R"(TolvanaGetStringFinished("c","Hi Cy"))"},
      {R"({"method":"getString","id":"items","args":"3","argsSeparator":",","pluralQuantity":"1","callback":"c"})",
       R"(TolvanaGetStringFinished("c","3 item"))"},
      // The rule word wins over the quantity.
      {R"({"method":"getString","id":"items","args":"3","argsSeparator":",","pluralRule":"other","pluralQuantity":1,"callback":"c"})",
       R"(TolvanaGetStringFinished("c","3 items"))"},
      {R"({"method":"getString","id":"absent","value":"Shown","callback":"c"})",
       R"(TolvanaGetStringFinished("c","Shown"))"},
      {R"({"method":"getString","id":null,"value":"Shown","callback":"c"})", R"(TolvanaGetStringFinished("c",""))"},
      {R"({"method":"getString","id":"named","args":"{broken","argsSeparator":"json"})",
       R"js(TolvanaGetStringFinished("(null)","Hi %{name}"))js"},
      {R"({"method":"TLLogDebug","message":"x"})", ""},
      {R"({"method":"unknown"})", ""},
      {R"({"id":"plain"})", ""},
  };
  for (const auto& c : cases) EXPECT_EQ(bridge.answer(c.message), c.answer) << c.message;
  EXPECT_TRUE(bridge.app.platform.log->contains("Could not parse JSON args {broken."));
  bridge.answer(R"({"method":"getString","id":"items","pluralRule":"several","callback":"c"})");
  EXPECT_TRUE(bridge.app.platform.log->contains("Invalid PluralRule: several"));
}

TEST(TLJSBridge, ArgumentsAreSplitTrimmedOrReadAsJson) {
  using Map = std::map<std::string, std::string>;
  struct Case {
    std::optional<std::string_view> arguments, separator;
    Map expected;
  };
  const Case cases[] = {
      {"a, b ,c", ",", {{"0", "a"}, {"1", "b"}, {"2", "c"}}},
      {"a;;b", ";;", {{"0", "a"}, {"1", "b"}}},
      {"", ",", {{"0", ""}}},
      {"{'n':'v','k':2}", "JsOn", {{"n", "v"}, {"k", "2"}}},
      {"['not','an','object']", "json", {}},
      {"a", std::nullopt, {}},
      {std::nullopt, ",", {}},
  };
  for (const auto& c : cases) EXPECT_EQ(TLJSBridge::convertArguments(c.arguments, c.separator), c.expected);
}

TEST(TLJSBridge, ViewsAreConfiguredOnlyWhenTheAppAsks) {
  for (bool on : {false, true}) {
    BridgeApp bridge(on);
    auto view = std::make_shared<RecordingWebView>();
    TLJSBridge::configureWKWebView(view);
    ASSERT_EQ(view->scripts.size(), on ? 1u : 0u);
    if (!on) continue;
    EXPECT_EQ(view->handlerName, "TolvanaNative");
    EXPECT_EQ(view->scripts[0], TLJSBridge::pageScript());
    view->handler(json::parse(R"({"method":"getString","id":"named","callback":"c"})").value());
    EXPECT_EQ(view->evaluated, std::vector<std::string>{R"(TolvanaGetStringFinished("c","Hi %{name}"))"});
  }
}

// Records what the bridge exports; refuses objects named in refuse, as an engine may.
struct RecordingContext final : ScriptContext {
  std::string description() const override { return "ctx"; }
  bool canReportExceptions() const override { return reports; }
  void setExceptionHandler(ExceptionHandler handler) override { this->handler = std::move(handler); }
  void setObject(std::string_view name) override {
    if (name == refuse) throw std::runtime_error("refused");
    exported.emplace_back(name);
  }
  void setFunction(std::string_view object, std::string_view name, Function function) override {
    exported.push_back(std::string(object) + "." + std::string(name));
    functions[exported.back()] = std::move(function);
  }
  void evaluateScript(std::string_view script) override { scripts.emplace_back(script); }
  bool reports = true;
  std::string refuse;
  ExceptionHandler handler;
  std::vector<std::string> exported, scripts;
  std::map<std::string, Function> functions;
};

TEST(TLJSBridge, ScriptContextsGetTheirFunctionsOnlyWhenAllowedAndEveryStepMayFail) {
  BridgeApp off(false);
  auto untouched = std::make_shared<RecordingContext>();
  TLJSBridge::attachToJSContext(untouched);
  EXPECT_TRUE(untouched->exported.empty());

  BridgeApp bridge;
  bridge.app.bundle.info("TolvanaEnableJSConsoleLog", true);
  bridge.app.install();
  auto silent = std::make_shared<RecordingContext>();
  silent->reports = false;  // no error reports: no script, no loadScript, no updateGroups
  TLJSBridge::attachToJSContext(silent);
  EXPECT_EQ(silent->exported.size(), 13u);
  silent->functions["console.log"]({Value("from the page")});
  EXPECT_EQ(bridge.app.platform.log->matching("from the page"), std::vector<std::string>{"console.log: from the page"});
  EXPECT_TRUE(silent->scripts.empty());
  EXPECT_EQ(silent->functions["TolvanaNative.getStringWithArgumentsAndPluralRule"](
                {Value("items"), Value("2"), Value(","), Value("other"), Value()}),
            Value("2 items"));

  auto full = std::make_shared<RecordingContext>();
  TLJSBridge::attachToJSContext(full);
  EXPECT_EQ(full->scripts, std::vector<std::string>{std::string(TLJSBridge::legacyPageScript())});
  EXPECT_EQ(full->exported.back(), "TolvanaNative.updateGroups");
  full->handler("ReferenceError: x");
  EXPECT_TRUE(bridge.app.platform.log->contains("JS: Context: ctx - Error: ReferenceError: x"));

  auto refusing = std::make_shared<RecordingContext>();
  refusing->refuse = "TLLog";
  TLJSBridge::attachToJSContext(refusing);
  EXPECT_TRUE(bridge.app.platform.log->contains("attachToJSContext not attaching"));
  EXPECT_TRUE(refusing->scripts.empty());
}

TEST(TLJSBridge, UpdateGroupsSplitsGroupsAtTheSeparatorAndLanguagesAtCommas) {
  ServerFixture server({});
  BridgeApp bridge;
  bridge.app.appLanguage("de", {{"plain", "Zeile", ""}});
  bridge.app.bundle.info("TolvanaHost", server.baseUrl());
  bridge.app.platform.http = server.http();
  bridge.app.install();
  auto view = std::make_shared<RecordingWebView>();
  TLJSBridge::handleJSCall(view, json::parse(R"({"method":"updateGroups","groups":"a; b","languages":" de , en",
                                                  "argsSeparator":";","callback":"u1"})").value());
  ASSERT_TRUE(bridge.app.platform.dispatch->runUntil([&] { return !view->evaluated.empty(); },
                                                      std::chrono::seconds(15)));
  EXPECT_EQ(view->evaluated[0], R"(TolvanaUpdateGroupsFinished("u1", true))");
  auto requests = server.inspect("requests").asArray();
  ASSERT_EQ(requests.size(), 1u);
  auto body = json::parse(requests[0].find("body")->asString()).value();
  EXPECT_EQ(json::serialize(*body.find("requestedData")), R"({"de":{"a":-1,"b":-1},"en":{"a":-1,"b":-1}})");
}

}  // namespace
}  // namespace tolvana
