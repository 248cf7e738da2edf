#include "tolvana/TLJSBridge.h"

#include "config/TLSettings.h"
#include "hooks/PageRequests.h"
#include "hooks/PageSession.h"
#include "localization/PageScripts.h"
#include "support/Boundary.h"
#include "support/Json.h"
#include "support/StringUtil.h"
#include "support/TLLog.h"
#include "tolvana/platform/Platform.h"

// Web views call in from the toolkit's own machinery; nothing may escape into it.
namespace tolvana {

namespace {

// In a text a line feed becomes a backslash and a double quote "&quot;" before it goes into
// the answer as a literal: that is what pages have always received for them.
std::string pageText(std::string_view text) {
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

// Answers go back on the main queue, to the document that asked; the view drops them when it
// shows another one by then.
void answer(const std::weak_ptr<WebView>& webView, const WebView::Document& to, std::string script) {
  Platform::Current().dispatch().mainAsync([webView, to, script = std::move(script)] {
    guarded("evaluateJavaScript", [&] {
      if (auto view = webView.lock()) view->evaluateJavaScript(script, to);
    });
  });
}

std::string callbackOf(const Value& data) { return PageRequests::text(data.find("callback")).value_or("(null)"); }

void answerGetString(const std::weak_ptr<WebView>& webView, const Value& data, const WebView::Document& from) {
  auto args = PageRequests::text(data.find("args"));
  PageRequests::Lookup lookup;
  lookup.key = PageRequests::text(data.find("id"));
  if (args) lookup.arguments = TLJSBridge::convertArguments(args, PageRequests::text(data.find("argsSeparator")));
  lookup.pluralRule = PageRequests::text(data.find("pluralRule"));
  const Value* quantity = data.find("pluralQuantity");
  if (quantity && !quantity->isNull()) lookup.pluralQuantity = quantity;
  lookup.defaultValue = PageRequests::text(data.find("value"));
  std::string text = PageRequests::lookUp(lookup);
  answer(webView, from,
         format("TolvanaGetStringFinished(%@,%@)", PageRequests::literal(callbackOf(data)),
                PageRequests::literal(pageText(text))));
}

void answerUpdateGroups(const std::weak_ptr<WebView>& webView, const std::shared_ptr<PageSession>& session,
                        const Value& data, const WebView::Document& from) {
  auto finished = [webView, from, callback = PageRequests::literal(callbackOf(data))](bool success) {
    answer(webView, from, format("TolvanaUpdateGroupsFinished(%@, %@)", callback, success ? "true" : "false"));
  };
  // A page that asks again before its update ended gets no second one running beside it.
  if (!session->beginUpdate()) return finished(false);
  auto separator = PageRequests::text(data.find("argsSeparator"));
  PageRequests::updateGroups(PageRequests::text(data.find("groups")), PageRequests::text(data.find("languages")),
                             separator ? *separator : ",", [session, finished](bool success) {
                               session->endUpdate();
                               guarded("updateGroups", [&] { finished(success); });
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
    webView->addScriptMessageHandler("TolvanaNative", TLSettings::webViewOrigins(),
                                     [weak](const Value& body, const WebView::Document& from) {
                                       if (auto view = weak.lock()) handleJSCall(view, body, from);
                                     });
    webView->addUserScript(modernPageScript());
  });
}

void TLJSBridge::handleJSCall(const std::shared_ptr<WebView>& webView, const Value& data) {
  handleJSCall(webView, data, WebView::Document{"", "null"});
}

void TLJSBridge::handleJSCall(const std::shared_ptr<WebView>& webView, const Value& data,
                              const WebView::Document& from) {
  guarded("handleJSCall", [&] {
    const Value* method = data.find("method");
    if (!webView || !method || !method->isString()) return;
    auto session = PageSession::of(webView);
    if (!session->admit(data, from)) return;
    // Served on the page's own queue: a look-up or a large page must not hold the main thread.
    session->run([webView = std::weak_ptr<WebView>(webView), session, data, from] {
      guarded("handleJSCall", [&] {
        const std::string& name = data.find("method")->asString();
        if (name == "TLLogInfo") {
          logInfo("JS: %@", PageRequests::text(data.find("message")));
        } else if (name == "getString") {
          answerGetString(webView, data, from);
        } else if (name == "updateGroups") {
          answerUpdateGroups(webView, session, data, from);
        }
      });
    });
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
