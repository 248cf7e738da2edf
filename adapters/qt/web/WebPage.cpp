#include "WebPage.h"

#include <QVariant>
#include <QWebChannel>
#include <QWebEnginePage>
#include <QWebEngineScriptCollection>

namespace tolvana::qt {

bool WebPage::isQmlView(const QObject* object) { return object && object->inherits("QQuickWebEngineView"); }

QWebChannel* WebPage::channel(quint32& world, quint32 worldIfNew) {
  if (auto* page = qobject_cast<QWebEnginePage*>(page_.data())) {
    world = QWebEngineScript::MainWorld;
    if (QWebChannel* channel = page->webChannel()) return channel;
    auto* channel = new QWebChannel(page);
    page->setWebChannel(channel, worldIfNew);
    world = worldIfNew;
    return channel;
  }
  if (!isQmlView(page_)) return nullptr;
  // The item makes its channel when first asked; one the app registered objects on is the app's.
  auto* channel = qobject_cast<QWebChannel*>(page_->property("webChannel").value<QObject*>());
  if (channel && channel->registeredObjects().isEmpty()) page_->setProperty("webChannelWorld", worldIfNew);
  world = page_->property("webChannelWorld").toUInt();
  return channel;
}

void WebPage::insertScript(const QWebEngineScript& script) {
  if (auto* page = qobject_cast<QWebEnginePage*>(page_.data())) return page->scripts().insert(script);
  if (!isQmlView(page_)) return;
  if (QObject* scripts = page_->property("userScripts").value<QObject*>()) {
    QMetaObject::invokeMethod(scripts, "insert", Q_ARG(QWebEngineScript, script));
  }
}

void WebPage::runJavaScript(const QString& script, quint32 world) {
  if (auto* page = qobject_cast<QWebEnginePage*>(page_.data())) return page->runJavaScript(script, world);
  if (isQmlView(page_)) QMetaObject::invokeMethod(page_, "runJavaScript", Q_ARG(QString, script), Q_ARG(uint, world));
}

}  // namespace tolvana::qt
