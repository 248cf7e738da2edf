#include "QtWebView.h"

#include <QFile>
#include <QJsonObject>
#include <QWebChannel>
#include <QWebEngineScript>

#include "BridgeScripts.h"
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

// A world of the bridge's own, apart from the page's and from those an app is likely to use
// (numbered from UserWorld up); the web engine numbers worlds below 256.
constexpr quint32 kBridgeWorld = 231;

QStringList toQStringList(const std::vector<std::string>& items) {
  QStringList list;
  for (const auto& item : items) list.append(QString::fromStdString(item));
  return list;
}

}  // namespace

MessageHandlerObject::MessageHandlerObject(WebView::MessageHandler handler, std::shared_ptr<WebView> view,
                                           QObject* parent)
    : QObject(parent), handler_(std::move(handler)), view_(std::move(view)) {}

void MessageHandlerObject::postMessage(const QJsonValue& envelope) {
  const QJsonObject message = envelope.toObject();
  WebView::Document from{message.value("document").toString().toStdString(), message.value("origin").toString().toStdString()};
  // Only the relay sends an id; whatever else reaches the channel could be answered in
  // another document.
  if (from.id.empty()) return;
  handler_(toValue(message.value("body")), from);
}

QtWebView::QtWebView(QObject* page) : page_(page) {}

void QtWebView::addScriptMessageHandler(std::string_view name, const std::vector<std::string>& origins,
                                        MessageHandler handler) {
  QWebChannel* channel = page_.channel(channelWorld_, kBridgeWorld);
  if (!channel) return;
  QString id = QString::fromUtf8(name.data(), static_cast<qsizetype>(name.size()));
  channel->registerObject(id, new MessageHandlerObject(std::move(handler), shared_from_this(), channel));
  QWebEngineScript relay;
  relay.setName(QStringLiteral("tolvana-relay"));
  relay.setSourceCode(relayScript(id, toQStringList(origins), channelClientScript()));
  relay.setInjectionPoint(QWebEngineScript::DocumentCreation);
  relay.setRunsOnSubFrames(false);
  relay.setWorldId(channelWorld_);
  page_.insertScript(relay);
  handlerScripts_ += handlerScript(id, toQStringList(origins));
}

void QtWebView::addUserScript(std::string_view source) {
  if (!page_.object()) return;
  QWebEngineScript script;
  script.setName(QStringLiteral("tolvana-page-script"));
  script.setSourceCode(handlerScripts_ + QString::fromUtf8(source.data(), static_cast<qsizetype>(source.size())));
  script.setInjectionPoint(QWebEngineScript::DocumentReady);
  script.setRunsOnSubFrames(false);
  script.setWorldId(QWebEngineScript::MainWorld);
  page_.insertScript(script);
}

void QtWebView::evaluateJavaScript(std::string_view script, const Document& to) {
  QString text = QString::fromUtf8(script.data(), static_cast<qsizetype>(script.size()));
  if (!to.id.empty()) text = guardedAnswer(text, QString::fromStdString(to.id));
  // Answers may come on any thread, and the GUI thread may delete the page at any moment: the
  // page is looked at only on the GUI thread, in a task of the main queue.
  Platform::Current().dispatch().mainAsync([page = page_, text, world = channelWorld_]() mutable {
    page.runJavaScript(text, world);
  });
}

}  // namespace tolvana::qt
