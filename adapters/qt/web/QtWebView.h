// QtWebView: the WebView port over a web page (a QWebEnginePage, or a QML WebEngineView item:
// see WebPage). Pages post to named handlers over a
// QWebChannel; a script the page runs first gives them the message-handler interface
// (window.webkit.messageHandlers.<name>.postMessage), so the page script needs no variant
// of its own. Messages posted before the channel is up are queued in the page.
//
// Thread contract: the GUI thread. An answer for a page that is gone is dropped.
#pragma once

#include <QJsonValue>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <memory>
#include <tolvana/platform/WebView.h>

#include "WebPage.h"

namespace tolvana::qt {

// The object a page's posts arrive at. It keeps the view's port alive as long as the page
// has it, since the bridge holds the port only weakly.
class MessageHandlerObject final : public QObject {
  Q_OBJECT
 public:
  MessageHandlerObject(WebView::MessageHandler handler, std::shared_ptr<WebView> view, QObject* parent);
  Q_INVOKABLE void postMessage(const QJsonValue& body);

 private:
  WebView::MessageHandler handler_;
  std::shared_ptr<WebView> view_;
};

class QtWebView final : public WebView, public std::enable_shared_from_this<QtWebView> {
 public:
  explicit QtWebView(QObject* page);
  void addScriptMessageHandler(std::string_view name, MessageHandler handler) override;
  void addUserScript(std::string_view source) override;
  void evaluateJavaScript(std::string_view script) override;

 private:
  WebPage page_;
  QStringList handlerNames_;
};

}  // namespace tolvana::qt
