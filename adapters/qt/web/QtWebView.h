// QtWebView: the WebView port over a web page (a QWebEnginePage, or a QML WebEngineView item:
// see WebPage). Pages post to named handlers over a QWebChannel that lives in a script world of
// its own (BridgeScripts.h says how messages and answers cross between it and the page's
// world); each message comes with an id of the document that posted it, and answers run only
// while the view still shows that document.
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
  // A message as the relay forwards it: {document, origin, body}.
  Q_INVOKABLE void postMessage(const QJsonValue& envelope);

 private:
  WebView::MessageHandler handler_;
  std::shared_ptr<WebView> view_;
};

class QtWebView final : public WebView, public std::enable_shared_from_this<QtWebView> {
 public:
  explicit QtWebView(QObject* page);
  void addScriptMessageHandler(std::string_view name, const std::vector<std::string>& origins,
                               MessageHandler handler) override;
  void addUserScript(std::string_view source) override;
  void evaluateJavaScript(std::string_view script, const Document& to) override;

 private:
  WebPage page_;
  // The world the channel and the relay live in: one of the bridge's own, unless the app
  // gave the page a channel already, which the bridge then shares.
  quint32 channelWorld_ = 0;
  QString handlerScripts_;
};

}  // namespace tolvana::qt
