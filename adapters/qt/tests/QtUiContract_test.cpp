// The Qt Ui in the contract every Ui keeps, read from its widgets. Runs in a process of its
// own (see CMakeLists.txt): the contract removes overlays and opens alerts of its own.
#include <QApplication>
#include <QDialog>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTranslator>
#include <tolvana/platform/Platform.h>

#include "QtTestSupport.h"
#include "platform/UiContract.h"

namespace tolvana {
namespace {

std::vector<QDialog*> openAlerts() {
  std::vector<QDialog*> alerts;
  for (QWidget* w : QApplication::topLevelWidgets()) {
    if (w->objectName() == "TolvanaAlert" && w->isVisible()) alerts.push_back(qobject_cast<QDialog*>(w));
  }
  std::sort(alerts.begin(), alerts.end(), [](QDialog* a, QDialog* b) {
    return a->property("tolvanaAlertNumber").toInt() < b->property("tolvanaAlertNumber").toInt();
  });
  return alerts;
}

// The alert a dialog shows, read back from its widgets.
Alert shownAlert(QDialog* dialog) {
  Alert alert{.title = dialog->windowTitle().toStdString()};
  if (auto* message = dialog->findChild<QLabel*>()) alert.message = message->text().toStdString();
  for (auto* edit : dialog->findChildren<QLineEdit*>()) {
    alert.textFields.push_back({.placeholder = edit->placeholderText().toStdString(),
                                .accessibilityIdentifier = edit->objectName().toStdString(),
                                .secureTextEntry = edit->echoMode() == QLineEdit::Password});
  }
  if (auto* box = dialog->findChild<QDialogButtonBox*>()) {
    for (auto* button : box->buttons()) alert.actions.push_back({.title = button->text().toStdString()});
  }
  return alert;
}

struct QtHarness {
  std::shared_ptr<Dispatch> dispatch = Platform::Current().ports().dispatch;
  std::shared_ptr<Ui> ui = Platform::Current().ports().ui;
  static constexpr const char* kNoUser = "";

  ~QtHarness() {
    for (QDialog* dialog : openAlerts()) dialog->close();
    ui->removeOverlay();
    QCoreApplication::processEvents();
  }
  bool runMain(const std::function<bool()>& done) { return spinUntil(done, 10000); }
  contract::UiState state() const {
    contract::UiState state;
    state.lookupHookInstallations = static_cast<int>(qApp->findChildren<QTranslator*>().size());
    for (QWidget* w : QApplication::topLevelWidgets()) {
      if (w->objectName() != "TolvanaOverlay") continue;
      UiOverlay shown;
      for (QWidget* c : w->findChildren<QWidget*>()) {
        auto* button = qobject_cast<QPushButton*>(c);
        shown.controls.push_back({.title = button ? button->text().toStdString() : "", .hidden = c->isHidden()});
      }
      state.overlay = contract::titles(shown);
    }
    for (QDialog* dialog : openAlerts()) state.alerts.push_back(contract::summary(shownAlert(dialog)));
    return state;
  }
  // From another thread, as a user would: types into the fields and presses the button on
  // the GUI thread, while the test's main loop runs.
  void tap(std::size_t alert, std::size_t action, const std::vector<std::string>& texts) {
    QMetaObject::invokeMethod(qApp, [alert, action, texts] {
      auto alerts = openAlerts();
      if (alert >= alerts.size()) return;
      auto edits = alerts[alert]->findChildren<QLineEdit*>();
      for (qsizetype i = 0; i < edits.size() && i < qsizetype(texts.size()); ++i) {
        edits[i]->setText(QString::fromStdString(texts[i]));
      }
      auto buttons = alerts[alert]->findChild<QDialogButtonBox*>()->buttons();
      if (qsizetype(action) < buttons.size()) buttons[action]->click();
    }, Qt::QueuedConnection);
  }
};

}  // namespace

namespace contract {
INSTANTIATE_TYPED_TEST_SUITE_P(Qt, UiContract, ::testing::Types<QtHarness>);
}  // namespace contract
}  // namespace tolvana
