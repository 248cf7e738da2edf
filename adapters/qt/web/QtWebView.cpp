#include "QtWebView.h"

#include <QFile>
#include <QWebChannel>
#include <QWebEngineScript>

#include "QtValue.h"
#include "tolvana/platform/Platform.h"

namespace tolvana::qt {

namespace {

// The channel's client library, as Qt ships it in its resources.
QString channelClientScript() {
  static const QString script = [] {
    QFile file(QStringLiteral(":/qtwebchannel/qwebchannel.js"));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
  }();
  return script;
}

// Gives the page window.webkit.messageHandlers.<name>.postMessage, queueing posts until the
// channel's transport (installed by the browser process, possibly after this runs) is up.
QString messageHandlerScript(const QString& name) {
  return QStringLiteral(R"((function () {
  var name = "%1";
  window.webkit = window.webkit || {};
  window.webkit.messageHandlers = window.webkit.messageHandlers || {};
  if (window.webkit.messageHandlers[name]) return;
  var queue = [], target = null;
  window.webkit.messageHandlers[name] = {
    postMessage: function (body) { if (target) target.postMessage(body); else queue.push(body); }
  };
  (function connect() {
    if (typeof qt === "undefined" || !qt.webChannelTransport || typeof QWebChannel === "undefined") {
      setTimeout(connect, 10);
      return;
    }
    new QWebChannel(qt.webChannelTransport, function (channel) {
      target = channel.objects[name];
      queue.splice(0).forEach(function (body) { target.postMessage(body); });
    });
  })();
})();
)")
      .arg(name);
}

}  // namespace

MessageHandlerObject::MessageHandlerObject(WebView::MessageHandler handler, std::shared_ptr<WebView> view,
                                           QObject* parent)
    : QObject(parent), handler_(std::move(handler)), view_(std::move(view)) {}

void MessageHandlerObject::postMessage(const QJsonValue& body) { handler_(toValue(body)); }

QtWebView::QtWebView(QObject* page) : page_(page) {}

void QtWebView::addScriptMessageHandler(std::string_view name, MessageHandler handler) {
  quint32 world = QWebEngineScript::MainWorld;
  QWebChannel* channel = page_.channel(world, QWebEngineScript::MainWorld);
  if (!channel) return;
  QString id = QString::fromUtf8(name.data(), static_cast<qsizetype>(name.size()));
  channel->registerObject(id, new MessageHandlerObject(std::move(handler), shared_from_this(), channel));
  handlerNames_.append(id);
}

void QtWebView::addUserScript(std::string_view source) {
  if (!page_.object()) return;
  QString text = channelClientScript();
  for (const QString& name : handlerNames_) text += messageHandlerScript(name);
  text += QString::fromUtf8(source.data(), static_cast<qsizetype>(source.size()));
  QWebEngineScript script;
  script.setName(QStringLiteral("tolvana-page-script"));
  script.setSourceCode(text);
  script.setInjectionPoint(QWebEngineScript::DocumentReady);
  script.setRunsOnSubFrames(false);
  script.setWorldId(QWebEngineScript::MainWorld);
  page_.insertScript(script);
}

void QtWebView::evaluateJavaScript(std::string_view script) {
  QString text = QString::fromUtf8(script.data(), static_cast<qsizetype>(script.size()));
  // Answers may come on any thread, and the GUI thread may delete the page at any moment: the
  // page is looked at only on the GUI thread, in a task of the main queue.
  Platform::Current().dispatch().mainAsync([page = page_, text]() mutable { page.runJavaScript(text, 0); });
}

}  // namespace tolvana::qt
