// WebPage: the page a web view shows, as the bridge reaches it: the QWebEnginePage of a
// QWebEngineView, or a QML WebEngineView item. The item is reached through its properties
// and invokable methods, so this library needs no QML web module of its own.
//
// Thread contract: the GUI thread. A page that is gone does nothing and answers null.
#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QWebEngineScript>

class QWebChannel;

namespace tolvana::qt {

class WebPage {
 public:
  explicit WebPage(QObject* page) : page_(page) {}
  // Whether the object is a QML WebEngineView item.
  static bool isQmlView(const QObject* object);

  QObject* object() const { return page_; }
  // The page's channel, made in the world given when the page has none of the app's; with
  // the world the channel's end in the page lives in.
  QWebChannel* channel(quint32& world, quint32 worldIfNew);
  void insertScript(const QWebEngineScript& script);
  void runJavaScript(const QString& script, quint32 world);

 private:
  QPointer<QObject> page_;
};

}  // namespace tolvana::qt
