// Linked into a Qt application, the library installs itself when the application object is
// created: nothing in the app's code calls it. With "TolvanaEnableAutostart" off it does
// nothing at all.
#include <QApplication>
#include <QEvent>
#include <QWidget>

#include "EventLoopWait.h"
#include "QtDispatch.h"
#include "QtUi.h"
#include "Retranslation.h"
#include "tolvana/qt/UiLayers.h"
#include "tolvana/qt/WidgetKeys.h"
#include "tolvana/Hooks.h"
#include "tolvana/platform/Platform.h"

namespace tolvana::qt {

namespace {

// The launch hook point: the first window about to appear. A window's Show event comes
// before the window reaches the screen, so waiting in it holds that window back.
class LaunchGate final : public QObject {
 public:
  explicit LaunchGate(QObject* parent) : QObject(parent) {}

  bool eventFilter(QObject* watched, QEvent* event) override {
    // A QML scene's window is a QWindow of its own; a widget window shows its QWindow too.
    if (event->type() == QEvent::Show &&
        (watched->isWindowType() || (watched->isWidgetType() && static_cast<QWidget*>(watched)->isWindow()))) {
      launch();
    }
    return false;
  }

  void launch() {
    if (done_) return;
    done_ = true;
    QCoreApplication::instance()->removeEventFilter(this);
    TolvanaHooks::launch(waitOneSecond);
  }

 private:
  bool done_ = false;
};

// Samples a widget's key whenever its text may have changed, so that a label given an
// untagged text later still names the key of the tagged one it showed before.
class KeyTracker final : public QObject {
 public:
  explicit KeyTracker(QObject* parent) : QObject(parent) {}
  bool eventFilter(QObject* watched, QEvent* event) override {
    if ((event->type() == QEvent::Paint || event->type() == QEvent::WindowTitleChange) && watched->isWidgetType() &&
        TolvanaHooks::anyTextTagged()) {
      keyForWidget(static_cast<QWidget*>(watched));
    }
    return false;
  }
};

std::vector<UiLayer>& uiLayers() {
  static auto* layers = new std::vector<UiLayer>;
  return *layers;
}

void startTolvana() {
  if (!TolvanaHooks::autostartEnabled()) return;
  // Each application object gets ports of its own, built on the ports found first.
  static const Platform::Ports base = Platform::Current().ports();
  QCoreApplication* app = QCoreApplication::instance();
  auto* context = new QObject(app);
  Platform::Ports ports = base;
  auto dispatch = std::make_shared<QtDispatch>(context, base.dispatch);
  ports.dispatch = dispatch;
  std::shared_ptr<Ui> ui = std::make_shared<QtUi>(context);
  for (const UiLayer& layer : uiLayers()) ui = layer(ui, context);
  ports.ui = ui;
  Platform::Install(std::make_shared<Platform>(ports));
  ui->installLookupHooks();
  // New texts in the stores, or another language, reach widgets that retranslate on a
  // LanguageChange. The notice comes on the main queue, which is this application's loop.
  std::uint64_t listener =
      TolvanaHooks::addTextsChangedListener([](const TextsChanged&) { Retranslation::announce(true); });
  QObject::connect(context, &QObject::destroyed, [listener] { TolvanaHooks::removeTextsChangedListener(listener); });
  if (qobject_cast<QApplication*>(app)) app->installEventFilter(new KeyTracker(context));

  auto* gate = new LaunchGate(context);
  app->installEventFilter(gate);
  // An app that shows no window launches when its event loop starts.
  QMetaObject::invokeMethod(gate, [gate] { gate->launch(); }, Qt::QueuedConnection);
}

}  // namespace

void addUiLayer(UiLayer layer) { uiLayers().push_back(std::move(layer)); }

}  // namespace tolvana::qt

namespace {
void startTolvanaQt() { tolvana::qt::startTolvana(); }
}  // namespace
Q_COREAPP_STARTUP_FUNCTION(startTolvanaQt)
