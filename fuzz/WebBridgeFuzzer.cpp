// Message bodies a web page posts to the bridge, and argument strings with their separator.
// An input that is JSON is served as a message (any method, any field of any kind); every
// input is also split into a separator (its first line) and an argument string. Fails on a
// crash, on an answer whose arguments are not exactly the page's callback id and a text as
// JSON literals (a text without line feeds or double quotes), or on split arguments that are
// not numbered from 0.
#include <cstddef>
#include <cstdint>
#include <algorithm>
#include <cstdlib>
#include <optional>
#include <string>

#include "fuzz/FuzzApp.h"
#include "support/Json.h"
#include "support/StringUtil.h"
#include "tolvana/TLJSBridge.h"

namespace {

// The arguments of a call "<name>(<arguments>)", read as a JSON array; none when the script is
// no such call or its arguments are no JSON.
std::optional<tolvana::Value> argumentsOf(const std::string& script, const std::string& name) {
  if (!script.starts_with(name + "(") || !script.ends_with(")")) return std::nullopt;
  auto arguments = tolvana::json::parse("[" + script.substr(name.size() + 1, script.size() - name.size() - 2) + "]");
  if (!arguments || !arguments->isArray() || arguments->asArray().size() != 2) return std::nullopt;
  return arguments;
}

// Checks each answer as it is evaluated.
struct CheckingWebView final : tolvana::WebView {
  void addScriptMessageHandler(std::string_view, const std::vector<std::string>&, MessageHandler) override {}
  void addUserScript(std::string_view) override {}
  void evaluateJavaScript(std::string_view script, const Document&) override {
    std::string s(script);
    if (auto text = argumentsOf(s, "TolvanaGetStringFinished")) {
      const auto& a = text->asArray();
      if (a[0] == tolvana::Value("end")) return void(ended = true);
      if (a[0] != tolvana::Value(callback) || !a[1].isString() ||
          a[1].asString().find_first_of("\n\"") != std::string::npos) {
        std::abort();
      }
    } else if (auto outcome = argumentsOf(s, "TolvanaUpdateGroupsFinished"); !outcome || !outcome->asArray()[1].isBoolean()) {
      std::abort();
    }
  }
  std::string callback;
  bool ended = false;
};

// Updates fail at once: the fuzzer never reaches the network.
struct RefusingHttp final : tolvana::Http {
  void send(tolvana::HttpRequest, std::function<void(tolvana::HttpResponse)> completion) override {
    tolvana::HttpResponse response;
    response.error = "refused";
    completion(std::move(response));
  }
};

void checkArguments(const std::string& input) {
  std::size_t newline = input.find('\n');
  if (newline == std::string::npos) return;
  std::string separator = input.substr(0, newline);
  auto arguments = tolvana::TLJSBridge::convertArguments(std::string_view(input).substr(newline + 1), separator);
  if (tolvana::toLower(separator) == "json") return;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    if (!arguments.count(std::to_string(i))) std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static auto* fuzz = [] {
    auto* app = new tolvana::fuzz::FuzzApp;
    tolvana::testing::installPorts([](tolvana::Platform::Ports& ports) { ports.http = std::make_shared<RefusingHttp>(); });
    return app;
  }();
  std::string input(reinterpret_cast<const char*>(data), size);
  if (auto message = tolvana::json::parse(input)) {
    auto view = std::make_shared<CheckingWebView>();
    const tolvana::Value* callback = message->find("callback");
    view->callback = callback && !callback->isNull() ? (callback->isString() ? callback->asString() : callback->description())
                                                     : "(null)";
    tolvana::TLJSBridge::handleJSCall(view, *message);
    // Answers come on the main queue once the view's own queue served the message; a last
    // message marks the end of those for this input.
    tolvana::TLJSBridge::handleJSCall(view, tolvana::Value::Dictionary{{"method", "getString"}, {"callback", "end"}});
    fuzz->app.platform.dispatch->runUntil([&] { return view->ended; });
  }
  checkArguments(input);
  fuzz->endInput();
  return 0;
}
