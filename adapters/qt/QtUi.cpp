#include "QtUi.h"

#include "DraftModeGestures.h"
#include "WidgetTree.h"

#include <QApplication>
#include <QBuffer>
#include <QClipboard>
#include <QMimeData>
#include <QDialog>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QThread>
#include <QTimer>
#include <QVBoxLayout>

namespace tolvana::qt {

QtUi::QtUi(QObject* context) : context_(context) {}

void QtUi::presentAlert(Alert alert) {
  // A console application has no windows to show an alert in.
  if (!qobject_cast<QApplication*>(QCoreApplication::instance())) return;
  auto* dialog = new QDialog(QApplication::activeWindow());
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  dialog->setObjectName(QStringLiteral("TolvanaAlert"));
  // Top-level widgets come in no particular order; this keeps the order alerts came in.
  static int presented = 0;
  dialog->setProperty("tolvanaAlertNumber", ++presented);
  dialog->setWindowTitle(QString::fromStdString(alert.title));
  auto* layout = new QVBoxLayout(dialog);
  auto* message = new QLabel(QString::fromStdString(alert.message), dialog);
  message->setWordWrap(true);
  layout->addWidget(message);
  QList<QLineEdit*> edits;
  for (const auto& field : alert.textFields) {
    auto* edit = new QLineEdit(QString::fromStdString(field.text), dialog);
    edit->setPlaceholderText(QString::fromStdString(field.placeholder));
    edit->setObjectName(QString::fromStdString(field.accessibilityIdentifier));
    edit->setAccessibleName(QString::fromStdString(field.accessibilityIdentifier));
    if (field.secureTextEntry) edit->setEchoMode(QLineEdit::Password);
    layout->addWidget(edit);
    edits.push_back(edit);
  }
  // Without actions the alert stays until the app ends, as on the platforms it came from.
  if (!alert.actions.empty()) {
    auto* buttons = new QDialogButtonBox(dialog);
    for (auto& action : alert.actions) {
      auto* button = buttons->addButton(QString::fromStdString(action.title), QDialogButtonBox::AcceptRole);
      QObject::connect(button, &QPushButton::clicked, dialog, [dialog, edits, handler = action.handler] {
        std::vector<std::string> texts;
        for (QLineEdit* edit : edits) texts.push_back(edit->text().toStdString());
        dialog->close();
        if (handler) handler(texts);
      });
    }
    layout->addWidget(buttons);
  }
  if (alert.dismissAfterSeconds > 0) QTimer::singleShot(alert.dismissAfterSeconds * 1000, dialog, &QDialog::close);
  dialog->setModal(true);
  dialog->show();
}

void QtUi::installLookupHooks() {
  std::call_once(translatorOnce_, [this] {
    QObject* context = context_.data();
    if (!context) return;
    // The translator list belongs to the GUI thread; an engine started elsewhere queues it.
    if (QThread::currentThread() == context->thread()) {
      TolvanaTranslator::install(context);
    } else {
      QMetaObject::invokeMethod(context, [context] { TolvanaTranslator::install(context); }, Qt::QueuedConnection);
    }
  });
}

void QtUi::addLongPressGesture(std::function<void()> handler) {
  DraftModeGestures::instance().setLongPressHandler(std::move(handler));
}

void QtUi::addSwipeGestures(std::function<void()> handler) {
  DraftModeGestures::instance().setSwipeHandler(std::move(handler));
}

namespace {

std::optional<UiView> viewOf(QWidget* window) {
  if (!window) return std::nullopt;
  return viewTree(window, window);
}

std::string pngOf(QWidget* window) {
  if (!window) return {};
  QByteArray png;
  QBuffer buffer(&png);
  buffer.open(QIODevice::WriteOnly);
  // Drawn at the screen's pixel ratio, so frames in pixels match the image.
  window->grab().save(&buffer, "PNG");
  return png.toStdString();
}

}  // namespace

std::optional<UiView> QtUi::rootWindowView() { return viewOf(rootWindow()); }

std::string QtUi::rootWindowPng() { return pngOf(rootWindow()); }

std::optional<UiView> QtUi::keyWindowView() { return viewOf(keyWindow()); }

std::string QtUi::keyWindowPng() { return pngOf(keyWindow()); }

UiScreen QtUi::mainScreen() { return primaryScreen(); }

void QtUi::showOverlay(UiOverlay overlay) {
  if (!qobject_cast<QApplication*>(QCoreApplication::instance())) return;
  if (!overlay_) overlay_ = new QtOverlay();
  overlay_->update(std::move(overlay));
}

void QtUi::removeOverlay() {
  if (overlay_) overlay_->deleteLater();
  overlay_.clear();
}

void QtUi::focusOverlayControl(const std::string& control) {
  if (overlay_) overlay_->focusControl(control);
}

std::optional<std::string> QtUi::pasteboardString() {
  if (!qobject_cast<QGuiApplication*>(QCoreApplication::instance())) return std::nullopt;
  const QMimeData* data = QGuiApplication::clipboard()->mimeData();
  if (!data || !data->hasText()) return std::nullopt;
  return data->text().toStdString();
}

void QtUi::setPasteboardString(const std::string& text) {
  if (qobject_cast<QGuiApplication*>(QCoreApplication::instance())) {
    QGuiApplication::clipboard()->setText(QString::fromStdString(text));
  }
}

}  // namespace tolvana::qt
