/**
 * @file TLJSBridge.h
 * @brief Web pages reach the same look-ups and updates as the app: a script placed into
 * every page finds the elements marked "tolvana-text" or "tolvana-placeholder", asks the app
 * for their texts and writes them in, also for elements added later.
 *
 * A toolkit adapter calls configureWKWebView() for every web view it creates and
 * attachToJSContext() for every script engine a page runs in without a web view; hosts do
 * not call these themselves. Nothing here throws; failures are logged.
 */
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tolvana/Export.h"
#include "tolvana/Value.h"
#include "tolvana/platform/ScriptContext.h"
#include "tolvana/platform/WebView.h"

namespace tolvana {

/// Static functions only, never instantiated.
class TOLVANA_EXPORT TLJSBridge {
 public:
  TLJSBridge() = delete;

  /// With "TolvanaTranslateWebViews": makes the view's pages post to the "TolvanaNative"
  /// handler, served by handleJSCall(), and runs the page script in each of them.
  static void configureWKWebView(const std::shared_ptr<WebView>& webView);
  /// With "TolvanaTranslateWebViews": exports "TolvanaNative" and "TLLog" into the context
  /// and runs the page script for contexts without a web view.
  static void attachToJSContext(const std::shared_ptr<ScriptContext>& context);
  /// Serves one message body a page posted: "getString", "updateGroups", "TLLogInfo",
  /// "TLLogDebug"; answers by evaluating script in the document that posted it, later and
  /// on the main queue. Look-ups run off the main thread; a message over the bounds below, or
  /// from an origin not listed in "TolvanaWebViewOrigins" (when that is set), is dropped
  /// with a log line; a view runs one update at a time and answers false to the others.
  static void handleJSCall(const std::shared_ptr<WebView>& webView, const Value& data,
                           const WebView::Document& from);
  /// The same for a document the view cannot tell apart from the next one.
  static void handleJSCall(const std::shared_ptr<WebView>& webView, const Value& data);

  /// What one view's pages may post: messages up to this many bytes of text, a burst of
  /// kMessageBurst of them and then kMessagesPerSecond.
  static constexpr std::size_t kMaxMessageBytes = 64 * 1024;
  static constexpr int kMessageBurst = 500;
  static constexpr int kMessagesPerSecond = 100;
  /// Placeholder name → text from a page's argument string: with the separator "json" (any
  /// case) a JSON object, single quotes read as double quotes; else the parts between
  /// separators, trimmed, named "0", "1", …
  static std::map<std::string, std::string> convertArguments(std::optional<std::string_view> arguments,
                                                             std::optional<std::string_view> separator);

  /// The page scripts, for web views (posting messages) and for script contexts (calling
  /// exported functions).
  static std::string_view pageScript();
  static std::string_view legacyPageScript();
};

}  // namespace tolvana
