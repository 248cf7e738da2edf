#include "tolvana/TLJSBridge.h"

#include "config/TLSettings.h"
#include "hooks/PageRequests.h"
#include "localization/PageScripts.h"
#include "support/Boundary.h"
#include "support/Json.h"
#include "support/StringUtil.h"
#include "support/TLLog.h"

// Web views call in from the toolkit's own machinery; nothing may escape into it.
namespace tolvana {

namespace {

// The text goes between the double quotes of a script call: a line feed becomes a single
// backslash and a double quote "&quot;", which is what pages have always received.
std::string escapeForPage(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    if (c == '\n') {
      out += '\\';
    } else if (c == '"') {
      out += "&quot;";
    } else {
      out += c;
    }
  }
  return out;
}

void answerGetString(const std::shared_ptr<WebView>& webView, const Value& data) {
  auto args = PageRequests::text(data.find("args"));
  PageRequests::Lookup lookup;
  lookup.key = PageRequests::text(data.find("id"));
  if (args) lookup.arguments = TLJSBridge::convertArguments(args, PageRequests::text(data.find("argsSeparator")));
  lookup.pluralRule = PageRequests::text(data.find("pluralRule"));
  const Value* quantity = data.find("pluralQuantity");
  if (quantity && !quantity->isNull()) lookup.pluralQuantity = quantity;
  lookup.defaultValue = PageRequests::text(data.find("value"));
  std::string text = PageRequests::lookUp(lookup);
  webView->evaluateJavaScript(format("TolvanaGetStringFinished(\"%@\",\"%@\")",
                                     PageRequests::text(data.find("callback")), escapeForPage(text)));
}

void answerUpdateGroups(const std::shared_ptr<WebView>& webView, const Value& data) {
  auto callback = PageRequests::text(data.find("callback"));
  auto separator = PageRequests::text(data.find("argsSeparator"));
  PageRequests::updateGroups(PageRequests::text(data.find("groups")), PageRequests::text(data.find("languages")),
                             separator ? *separator : ",", [webView, callback](bool success) {
                               guarded("updateGroups", [&] {
                                 webView->evaluateJavaScript(format("TolvanaUpdateGroupsFinished(\"%@\", %@)",
                                                                    callback, success ? "true" : "false"));
                               });
                             });
}

std::map<std::string, std::string> argumentsFromJson(std::string_view arguments) {
  std::string text(arguments);
  for (char& c : text) {
    if (c == '\'') c = '"';
  }
  std::string error;
  auto parsed = json::parse(text, &error);
  if (parsed && !parsed->isDictionary()) error = "not a JSON object";
  if (!parsed || !error.empty()) {
    logError("Could not parse JSON args %@. %@", arguments, error);
    return {};
  }
  std::map<std::string, std::string> result;
  for (const auto& [name, value] : parsed->asDictionary()) {
    result[name] = value.isString() ? value.asString() : value.description();
  }
  return result;
}

}  // namespace

void TLJSBridge::configureWKWebView(const std::shared_ptr<WebView>& webView) {
  guarded("configureWKWebView", [&] {
    if (!webView || !TLSettings::translateWebViews()) return;
    std::weak_ptr<WebView> weak = webView;
    webView->addScriptMessageHandler("TolvanaNative", [weak](const Value& body) {
      if (auto view = weak.lock()) handleJSCall(view, body);
    });
    webView->addUserScript(modernPageScript());
  });
}

void TLJSBridge::handleJSCall(const std::shared_ptr<WebView>& webView, const Value& data) {
  guarded("handleJSCall", [&] {
    const Value* method = data.find("method");
    if (!webView || !method || !method->isString()) return;
    const std::string& name = method->asString();
    if (name == "TLLogInfo") {
      logInfo("JS: %@", PageRequests::text(data.find("message")));
    } else if (name == "getString") {
      answerGetString(webView, data);
    } else if (name == "updateGroups") {
      answerUpdateGroups(webView, data);
    }
  });
}

std::map<std::string, std::string> TLJSBridge::convertArguments(std::optional<std::string_view> arguments,
                                                                std::optional<std::string_view> separator) {
  std::map<std::string, std::string> result;
  guarded("convertArguments", [&] {
    if (!arguments || !separator) return;
    if (toLower(*separator) == "json") {
      result = argumentsFromJson(*arguments);
      return;
    }
    auto parts = PageRequests::splitTrimmed(*arguments, *separator);
    for (std::size_t i = 0; i < parts.size(); ++i) result[std::to_string(i)] = std::move(parts[i]);
  });
  return result;
}

std::string_view TLJSBridge::pageScript() { return modernPageScript(); }
std::string_view TLJSBridge::legacyPageScript() { return tolvana::legacyPageScript(); }

}  // namespace tolvana
