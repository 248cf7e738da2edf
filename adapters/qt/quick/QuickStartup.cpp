// Linked into a Qt application, the library adds QML scenes to what the adapter localises and
// reviews: nothing in the app's code calls it. It registers the QML module "Tolvana" (the
// API object as a singleton) in any case; with "TolvanaEnableAutostart" on, every QML engine
// that shows a scene retranslates whenever the application's texts change.
#include <QCoreApplication>
#include <QEvent>
#include <QGuiApplication>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <algorithm>
#include <mutex>
#include <tolvana/Hooks.h>
#include <vector>

#include "QuickItemTree.h"
#include "QuickUi.h"
#include "tolvana/qt/TolvanaQt.h"
#include "tolvana/qt/UiLayers.h"

namespace tolvana::qt {
namespace {

// A QML engine has no registry to find it by; every one that shows a scene is found through
// the scene's window, its content and the scene's root items. A QQuickWidget's scene has a
// window too, never shown but listed with the others.
std::vector<QQmlEngine*> sceneEngines() {
  std::vector<QQmlEngine*> engines;
  auto add = [&engines](const QObject* object) {
    QQmlEngine* engine = object ? qmlEngine(object) : nullptr;
    if (engine && std::find(engines.begin(), engines.end(), engine) == engines.end()) engines.push_back(engine);
  };
  for (QWindow* window : QGuiApplication::allWindows()) {
    auto* scene = qobject_cast<QQuickWindow*>(window);
    if (!scene) continue;
    add(scene);
    add(scene->contentItem());
    for (const QQuickItem* item : scene->contentItem()->childItems()) add(item);
  }
  return engines;
}

// Installing a translator, and the adapter after an update or a language switch, announce
// the change to the application object; widgets retranslate on it, QML engines only when told.
class QmlRetranslation final : public QObject {
 public:
  explicit QmlRetranslation(QObject* parent) : QObject(parent) {}

  bool eventFilter(QObject* watched, QEvent* event) override {
    if (event->type() == QEvent::LanguageChange && watched == QCoreApplication::instance() && !busy_) {
      busy_ = true;
      for (QQmlEngine* engine : sceneEngines()) engine->retranslate();
      busy_ = false;
    }
    return false;
  }

 private:
  bool busy_ = false;
};

void registerQmlModule() {
  static std::once_flag once;
  std::call_once(once, [] {
    qmlRegisterSingletonType<TolvanaQt>("Tolvana", 1, 0, "Tolvana", [](QQmlEngine*, QJSEngine*) -> QObject* {
      TolvanaQt* api = TolvanaQt::instance();
      // The application object owns it, whichever engines use it.
      QQmlEngine::setObjectOwnership(api, QQmlEngine::CppOwnership);
      return api;
    });
  });
}

// The library's own windows go while the application object still stands: as its children
// they would go only after it has let go of the screen. Only the QML ones: the native window
// of a widget overlay or alert belongs to its widget, which deletes it later.
void closeOurWindows() {
  for (QWindow* window : QGuiApplication::allWindows()) {
    if (qobject_cast<QQuickWindow*>(window) && isOurWindow(window)) delete window;
  }
}

void startTolvanaQuick() {
  registerQmlModule();
  QCoreApplication* app = QCoreApplication::instance();
  if (!TolvanaHooks::autostartEnabled() || !qobject_cast<QGuiApplication*>(app)) return;
  app->installEventFilter(new QmlRetranslation(app));
  qAddPostRoutine(closeOurWindows);
}

// In place before any application object is made, whichever library's start-up runs first.
const bool layerAdded = [] {
  addUiLayer([](std::shared_ptr<Ui> below, QObject* context) -> std::shared_ptr<Ui> {
    return std::make_shared<QuickUi>(std::move(below), context);
  });
  addWidgetContent(sceneInWidget);
  return true;
}();

}  // namespace
}  // namespace tolvana::qt

namespace {
void startTolvanaQtQuick() { tolvana::qt::startTolvanaQuick(); }
}  // namespace
Q_COREAPP_STARTUP_FUNCTION(startTolvanaQtQuick)
