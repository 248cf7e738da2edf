// The Ui of an app without widgets in the contract every Ui keeps, read from its QML
// windows. Runs in a process of its own (see CMakeLists.txt): the contract removes overlays
// and opens alerts of its own.
#include <QGuiApplication>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTranslator>
#include <algorithm>
#include <tolvana/platform/Platform.h>

#include "../../tests/QtTestSupport.h"
#include "platform/UiContract.h"

namespace tolvana {
namespace {

std::vector<QQuickWindow*> windowsNamed(const char* name) {
  std::vector<QQuickWindow*> found;
  for (QWindow* window : QGuiApplication::topLevelWindows()) {
    if (window->objectName() == name && window->isVisible()) found.push_back(qobject_cast<QQuickWindow*>(window));
  }
  std::sort(found.begin(), found.end(), [](QQuickWindow* a, QQuickWindow* b) {
    return a->property("tolvanaAlertNumber").toInt() < b->property("tolvanaAlertNumber").toInt();
  });
  return found;
}

// Items a repeater makes are children of the item they sit in, not of the repeater's object.
QQuickItem* findItem(QQuickItem* root, const QString& name) {
  if (root->objectName() == name) return root;
  for (QQuickItem* child : root->childItems()) {
    if (QQuickItem* found = findItem(child, name)) return found;
  }
  return nullptr;
}

QQuickItem* content(QQuickWindow* alert) { return alert->contentItem()->childItems().value(0); }

// The alert a window shows, read back from its item.
Alert shownAlert(QQuickWindow* window) {
  QQuickItem* item = content(window);
  Alert alert{.title = window->title().toStdString(), .message = item->property("message").toString().toStdString()};
  for (const QVariant& field : item->property("fields").toList()) {
    QVariantMap map = field.toMap();
    alert.textFields.push_back({.placeholder = map["placeholder"].toString().toStdString(),
                                .accessibilityIdentifier = map["name"].toString().toStdString(),
                                .secureTextEntry = map["secure"].toBool()});
  }
  for (const QVariant& action : item->property("actions").toList()) {
    alert.actions.push_back({.title = action.toString().toStdString()});
  }
  return alert;
}

struct QuickHarness {
  std::shared_ptr<Dispatch> dispatch = Platform::Current().ports().dispatch;
  std::shared_ptr<Ui> ui = Platform::Current().ports().ui;
  static constexpr const char* kNoUser = "";

  ~QuickHarness() {
    for (QQuickWindow* alert : windowsNamed("TolvanaAlert")) delete alert;
    ui->removeOverlay();
    QCoreApplication::processEvents();
  }
  bool runMain(const std::function<bool()>& done) { return spinUntil(done, 10000); }
  contract::UiState state() const {
    contract::UiState state;
    state.lookupHookInstallations = static_cast<int>(qApp->findChildren<QTranslator*>().size());
    for (QQuickWindow* overlay : windowsNamed("TolvanaOverlay")) {
      QList<QQuickItem*> controls = overlay->contentItem()->childItems();
      std::sort(controls.begin(), controls.end(), [](QQuickItem* a, QQuickItem* b) { return a->z() < b->z(); });
      UiOverlay shown;
      for (QQuickItem* control : controls) {
        shown.controls.push_back({.title = control->property("kind") == "button"
                                               ? control->property("title").toString().toStdString()
                                               : "",
                                  .hidden = !control->isVisible()});
      }
      state.overlay = contract::titles(shown);
    }
    for (QQuickWindow* alert : windowsNamed("TolvanaAlert")) state.alerts.push_back(contract::summary(shownAlert(alert)));
    return state;
  }
  // From another thread, as a user would: types into the fields and taps the action on the
  // GUI thread, while the test's main loop runs.
  void tap(std::size_t alert, std::size_t action, const std::vector<std::string>& texts) {
    QMetaObject::invokeMethod(qApp, [alert, action, texts] {
      auto alerts = windowsNamed("TolvanaAlert");
      if (alert >= alerts.size()) return;
      QQuickItem* item = content(alerts[alert]);
      QVariantList fields = item->property("fields").toList();
      for (qsizetype i = 0; i < fields.size() && i < qsizetype(texts.size()); ++i) {
        QQuickItem* field = findItem(item, fields[i].toMap()["name"].toString());
        if (field) field->setProperty("text", QString::fromStdString(texts[std::size_t(i)]));
      }
      QMetaObject::invokeMethod(item, "choose", Q_ARG(QVariant, int(action)));
    }, Qt::QueuedConnection);
  }
};

}  // namespace

namespace contract {
INSTANTIATE_TYPED_TEST_SUITE_P(QtQuick, UiContract, ::testing::Types<QuickHarness>);
}  // namespace contract
}  // namespace tolvana
