#include "tolvana/TLJSBridge.h"

#include <gtest/gtest.h>

#include "core/TLInternal.h"
#include "hooks/PageRequests.h"
#include "support/Json.h"
#include "tests/support/AppFixture.h"
#include "tests/support/ServerFixture.h"

namespace tolvana {
namespace {

using testing::AppFixture;
using testing::ServerFixture;

// Keeps what the bridge asks of a web view.
struct RecordingWebView final : WebView {
  void addScriptMessageHandler(std::string_view name, const std::vector<std::string>& origins,
                               MessageHandler handler) override {
    handlerName = name;
    handlerOrigins = origins;
    this->handler = std::move(handler);
  }
  void addUserScript(std::string_view source) override { scripts.emplace_back(source); }
  void evaluateJavaScript(std::string_view script, const Document& to) override {
    evaluated.emplace_back(script);
    documents.push_back(to.id);
  }
  std::string handlerName;
  std::vector<std::string> handlerOrigins;
  MessageHandler handler;
  std::vector<std::string> scripts, evaluated, documents;
};

const WebView::Document kPage{"doc-1", "https://pages.example"};

struct BridgeApp {
  explicit BridgeApp(bool translateWebViews = true) {
    app.appLanguage("en", {{"plain", "Line one\nsaid \"hi\"", ""},
                           {"odd", "a\rb\\x41\xe2\x80\xa8</script>\\", ""},
                           {"greeting", "Hello %{0} and %{1}", ""},
                           {"named", "Hi %{name}", ""},
                           {"items[one]", "%{0} item", ""},
                           {"items[other]", "%{0} items", ""}});
    app.bundle.info("TolvanaTranslateWebViews", translateWebViews);
    app.platform.locale->setPreferredLanguages({"en"});
    app.install();
  }
  void send(const std::string& message, const WebView::Document& from = kPage) {
    TLJSBridge::handleJSCall(view, json::parse(message).value(), from);
  }
  // Posts one more message, from an origin always let in, whose answer marks the end; the
  // answers before that one.
  std::vector<std::string> answersUntilEnd() {
    send(R"({"method":"getString","id":"plain","callback":"end"})");
    app.platform.dispatch->runUntil([&] { return !view->evaluated.empty() && view->evaluated.back().find("\"end\"") != std::string::npos; });
    std::vector<std::string> answers(view->evaluated.begin(), view->evaluated.end() - std::min<std::ptrdiff_t>(1, std::ssize(view->evaluated)));
    view->evaluated.clear();
    return answers;
  }
  std::vector<std::string> post(const std::vector<std::string>& messages, const WebView::Document& from = kPage) {
    for (const auto& message : messages) send(message, from);
    return answersUntilEnd();
  }
  std::string answer(const std::string& message) {
    auto answers = post({message});
    return answers.empty() ? "" : answers.back();
  }
  AppFixture app;
  std::shared_ptr<RecordingWebView> view = std::make_shared<RecordingWebView>();
};

TEST(TLJSBridge, GetStringAnswersEveryKindOfLookUpEscapedForTheScriptCall) {
  BridgeApp bridge;
  struct Case {
    const char* message;
    const char* answer;
  };
  const Case cases[] = {
      {R"({"method":"getString","id":"plain","callback":"c1"})",
       R"(TolvanaGetStringFinished("c1","Line one\\said &quot;hi&quot;"))"},
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
    bridge.app.bundle.info("TolvanaWebViewOrigins", " https://a.example ,, file:// ");
    bridge.app.install();
    auto view = bridge.view;
    TLJSBridge::configureWKWebView(view);
    ASSERT_EQ(view->scripts.size(), on ? 1u : 0u);
    if (!on) continue;
    EXPECT_EQ(view->handlerName, "TolvanaNative");
    EXPECT_EQ(view->handlerOrigins, (std::vector<std::string>{"https://a.example", "file://"}));
    EXPECT_EQ(view->scripts[0], TLJSBridge::pageScript());
    view->handler(json::parse(R"({"method":"getString","id":"named","callback":"c"})").value(), {"d7", "file://"});
    ASSERT_TRUE(bridge.app.platform.dispatch->runUntil([&] { return !view->evaluated.empty(); }));
    EXPECT_EQ(view->evaluated, std::vector<std::string>{R"(TolvanaGetStringFinished("c","Hi %{name}"))"});
    EXPECT_EQ(view->documents, std::vector<std::string>{"d7"});  // to the document that asked
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

// A page's callback id and a store's text go into the answer's script as literals that the
// script reads back exactly, whatever they hold: no id can carry script, no text break it.
TEST(TLJSBridge, AnswersCarryCallbackIdsAndTextsAsLiteralsOnly) {
  BridgeApp bridge;
  for (const std::string callback : {"x\"+(document.title=1)+\"", "back\\", "cr\r", "ls\xe2\x80\xa8", "\\x41", ""}) {
    SCOPED_TRACE(callback);
    std::string script = bridge.answer(json::serialize(Value::Dictionary{{"method", "getString"}, {"id", "odd"}, {"callback", callback}}));
    const std::string call = "TolvanaGetStringFinished(";
    ASSERT_TRUE(script.starts_with(call) && script.ends_with(")")) << script;
    auto arguments = json::parse("[" + script.substr(call.size(), script.size() - call.size() - 1) + "]");
    ASSERT_TRUE(arguments) << script;
    EXPECT_EQ(*arguments, Value(Value::Array{callback, "a\rb\\x41\xe2\x80\xa8</script>\\"}));
  }
}

TEST(TLJSBridge, PagesGetTheBridgeOnlyFromListedOriginsAndWithinItsBounds) {
  BridgeApp bridge;
  bridge.app.bundle.info("TolvanaWebViewOrigins", "https://pages.example");
  bridge.app.install();
  const std::string lookUp = R"({"method":"getString","id":"named","callback":"c"})";
  // A burst beyond the allowance at one instant: the rest is dropped, with one log line,
  // until time has let the page post again.
  for (int i = 0; i < TLJSBridge::kMessageBurst + 100; ++i) bridge.send(lookUp);
  bridge.app.platform.clock->advance(std::chrono::seconds(1));
  EXPECT_EQ(bridge.answersUntilEnd().size(), static_cast<std::size_t>(TLJSBridge::kMessageBurst));
  EXPECT_EQ(bridge.app.platform.log->count("post faster"), 1u);

  EXPECT_EQ(bridge.post({lookUp}).size(), 1u);
  EXPECT_TRUE(bridge.post({lookUp}, {"doc-2", "https://elsewhere.example"}).empty());
  EXPECT_TRUE(bridge.app.platform.log->contains("Page message from https://elsewhere.example dropped"));

  const std::string large = json::serialize(Value::Dictionary{
      {"method", "getString"}, {"id", "k"}, {"value", std::string(TLJSBridge::kMaxMessageBytes, 'x')}});
  EXPECT_TRUE(bridge.post({large}).empty());
  EXPECT_TRUE(bridge.app.platform.log->contains("it is larger than the bridge takes"));
}

TEST(TLJSBridge, UpdatesFromAPageSplitTheirNamesCheckThemAndRunOneAtATime) {
  ServerFixture server({});
  BridgeApp bridge;
  bridge.app.appLanguage("de", {{"plain", "Zeile", ""}});
  bridge.app.bundle.info("TolvanaHost", server.baseUrl());
  bridge.app.platform.http = server.http(bridge.app.platform.dispatch);
  bridge.app.install();
  server.injectFault({{"delayMs", 1500}});
  bridge.send(R"({"method":"updateGroups","groups":"a; b","languages":" de , en","argsSeparator":";","callback":"u1"})");
  bridge.send(R"({"method":"updateGroups","groups":"a","languages":"de","callback":"u2"})");
  auto& evaluated = bridge.view->evaluated;
  ASSERT_TRUE(bridge.app.platform.dispatch->runUntil([&] { return evaluated.size() == 2; }, std::chrono::seconds(15)));
  // The second is refused while the first runs.
  EXPECT_EQ(evaluated, (std::vector<std::string>{R"(TolvanaUpdateGroupsFinished("u2", false))",
                                                 R"(TolvanaUpdateGroupsFinished("u1", true))"}));
  auto requests = server.inspect("requests").asArray();
  ASSERT_EQ(requests.size(), 1u);
  auto body = json::parse(requests[0].find("body")->asString()).value();
  EXPECT_EQ(json::serialize(*body.find("requestedData")), R"({"de":{"a":-1,"b":-1},"en":{"a":-1,"b":-1}})");

  std::string manyLanguages(PageRequests::kMaxNamesPerUpdate * 3, 'x');
  for (std::size_t i = 2; i < manyLanguages.size(); i += 3) manyLanguages[i] = ',';
  const std::string refused[] = {
      R"({"method":"updateGroups","groups":"main\nx","languages":"de","callback":"r"})",
      json::serialize(Value::Dictionary{{"method", "updateGroups"}, {"groups", std::string(200, 'g')}, {"callback", "r"}}),
      R"({"method":"updateGroups","groups":"main","languages":"../de","callback":"r"})",
      json::serialize(Value::Dictionary{{"method", "updateGroups"}, {"languages", manyLanguages + "xx"}, {"callback", "r"}}),
  };
  for (const auto& message : refused) {
    evaluated.clear();
    bridge.send(message);
    EXPECT_TRUE(bridge.app.platform.dispatch->runUntil([&] { return !evaluated.empty(); })) << message;
    EXPECT_EQ(evaluated, std::vector<std::string>{R"(TolvanaUpdateGroupsFinished("r", false))"}) << message;
  }
  EXPECT_EQ(server.inspect("requests").asArray().size(), 1u);  // none of them reached the server
}

}  // namespace
}  // namespace tolvana
