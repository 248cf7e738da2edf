// Message bodies a web page posts to the bridge, and argument strings with their separator.
// An input that is JSON is served as a message (any method, any field of any kind); every
// input is also split into a separator (its first line) and an argument string. Fails on a
// crash, on an answer whose text part lets a line feed or a double quote through into the
// script call, or on split arguments that are not numbered from 0.
#include <cstddef>
#include <cstdint>
#include <algorithm>
#include <cstdlib>
#include <string>

#include "fuzz/FuzzApp.h"
#include "support/Json.h"
#include "support/StringUtil.h"
#include "tolvana/TLJSBridge.h"

namespace {

std::size_t count(const std::string& text, char c) { return static_cast<std::size_t>(std::count(text.begin(), text.end(), c)); }

// Checks each answer as it is evaluated: the quotes and line feeds in it are those of the
// call's frame and of the page's own callback id, none of the text's.
struct CheckingWebView final : tolvana::WebView {
  void addScriptMessageHandler(std::string_view, MessageHandler) override {}
  void addUserScript(std::string_view) override {}
  void evaluateJavaScript(std::string_view script) override {
    std::string s(script);
    if (s.rfind("TolvanaGetStringFinished(\"", 0) == 0) {
      if (count(s, '"') != 4 + count(callback, '"') || count(s, '\n') != count(callback, '\n')) std::abort();
    } else if (s.rfind("TolvanaUpdateGroupsFinished(\"", 0) != 0) {
      std::abort();
    }
  }
  std::string callback;
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
  }
  checkArguments(input);
  fuzz->endInput();
  return 0;
}
