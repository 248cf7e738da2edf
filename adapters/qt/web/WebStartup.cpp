// Linked into a Qt application, the library gives every QWebEngineView and every QML
// WebEngineView the page bridge when the application object is created: nothing in the app's
// code calls it. With
// "TolvanaEnableAutostart" off it does nothing at all; without "TolvanaTranslateWebViews"
// views are seen but left as they are.
#include <QApplication>
#include <QChildEvent>
#include <QEvent>
#include <QPointer>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTimer>
#include <QWebEnginePage>
#include <QWebEngineView>
#include <memory>
#include <tolvana/Hooks.h>
#include <tolvana/TLJSBridge.h>

#include "QtScriptContext.h"
#include "QtWebView.h"
#include "tolvana/qt/ScriptEngine.h"

namespace tolvana::qt {

namespace {

const char kConfigured[] = "tolvanaConfigured";

// A widget view's page, or a QML view item itself.
void configure(QObject* page) {
  if (!page || page->property(kConfigured).toBool()) return;
  page->setProperty(kConfigured, true);
  TLJSBridge::configureWKWebView(std::make_shared<QtWebView>(page));
}

void configure(QWebEngineView* view) {
  // A view makes its page on first use; one that has none yet gets it here, as it would
  // on its first load.
  configure(view->page());
}

// QML creates its items without an event anyone could see; a scene's views are found when
// its window is shown and at each frame after (a view made later shows in the next frame,
// long before its page's process has parsed a document).
void configureQmlViews(QQuickItem* item) {
  if (WebPage::isQmlView(item)) return configure(static_cast<QObject*>(item));
  for (QQuickItem* child : item->childItems()) configureQmlViews(child);
}

// Sees every view as early as the toolkit lets anyone: when its page is made (the view then
// receives the page as a child, still being built, so the view is configured right after)
// and at its polish, before it is first shown. Either comes before the first document of
// the page has been parsed, which is when the page script runs.
class WebViewWatcher final : public QObject {
 public:
  explicit WebViewWatcher(QObject* parent) : QObject(parent) {}
  bool eventFilter(QObject* watched, QEvent* event) override {
    if ((event->type() == QEvent::UpdateRequest || event->type() == QEvent::Show) && watched->isWindowType()) {
      if (auto* scene = qobject_cast<QQuickWindow*>(watched)) configureQmlViews(scene->contentItem());
    } else if (event->type() == QEvent::Polish) {
      if (auto* view = qobject_cast<QWebEngineView*>(watched)) configure(view);
    } else if (event->type() == QEvent::ChildAdded && !static_cast<QChildEvent*>(event)->child()->isWidgetType()) {
      if (auto* view = qobject_cast<QWebEngineView*>(watched)) {
        QPointer<QWebEngineView> later = view;
        QTimer::singleShot(0, this, [later] {
          if (later) configure(later);
        });
      }
    }
    return false;
  }
};

void startTolvanaWeb() {
  if (!TolvanaHooks::autostartEnabled() || !qobject_cast<QGuiApplication*>(QCoreApplication::instance())) return;
  QCoreApplication* app = QCoreApplication::instance();
  app->installEventFilter(new WebViewWatcher(app));
}

}  // namespace

void attachToJSEngine(QJSEngine* engine) {
  TLJSBridge::attachToJSContext(engine ? QtScriptContext::forEngine(engine) : nullptr);
}

}  // namespace tolvana::qt

namespace {
void startTolvanaQtWeb() { tolvana::qt::startTolvanaWeb(); }
}  // namespace
Q_COREAPP_STARTUP_FUNCTION(startTolvanaQtWeb)
