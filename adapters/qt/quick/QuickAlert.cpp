#include "QuickAlert.h"

#include <QPointer>
#include <QQmlComponent>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTimer>

namespace tolvana::qt {

// Runs the chosen action once the alert has closed. A child of the alert's item, so it goes
// with it.
class AlertEvents final : public QObject {
  Q_OBJECT
 public:
  AlertEvents(QQuickItem* item, QQuickWindow* window, std::vector<AlertAction> actions)
      : QObject(item), window_(window), actions_(std::move(actions)) {
    connect(item, SIGNAL(chosen(int,QVariant)), this, SLOT(chosen(int,QVariant)));
  }

 public slots:
  void chosen(int action, const QVariant& texts) {
    if (action < 0 || action >= int(actions_.size()) || !window_) return;
    std::vector<std::string> typed;
    for (const QVariant& text : texts.toList()) typed.push_back(text.toString().toStdString());
    auto handler = actions_[std::size_t(action)].handler;
    window_->close();
    window_->deleteLater();
    if (handler) handler(typed);
  }

 private:
  QPointer<QQuickWindow> window_;
  std::vector<AlertAction> actions_;
};

void presentQuickAlert(QQmlEngine* engine, Alert alert) {
  QQmlComponent component(engine, QUrl(QStringLiteral("qrc:/tolvana/Alert.qml")));
  QVariantList fields, actions;
  for (const auto& field : alert.textFields) {
    fields << QVariantMap{{"name", QString::fromStdString(field.accessibilityIdentifier)},
                          {"placeholder", QString::fromStdString(field.placeholder)},
                          {"secure", field.secureTextEntry},
                          {"text", QString::fromStdString(field.text)}};
  }
  for (const auto& action : alert.actions) actions << QString::fromStdString(action.title);
  auto* item = qobject_cast<QQuickItem*>(component.createWithInitialProperties(
      {{"message", QString::fromStdString(alert.message)}, {"fields", fields}, {"actions", actions}}));
  if (!item) return;
  auto* window = new QQuickWindow();
  // The engine's owner takes the window along at the application's end.
  window->QObject::setParent(engine);
  window->setObjectName(QStringLiteral("TolvanaAlert"));
  static int presented = 0;
  window->setProperty("tolvanaAlertNumber", ++presented);
  window->setTitle(QString::fromStdString(alert.title));
  item->setParent(window);
  item->setParentItem(window->contentItem());
  item->setSize(QSizeF(item->implicitWidth(), item->implicitHeight()));
  window->resize(item->size().toSize());
  // Without actions the alert stays until the app ends, as on the platforms it came from.
  new AlertEvents(item, window, std::move(alert.actions));
  if (alert.dismissAfterSeconds > 0) {
    QTimer::singleShot(alert.dismissAfterSeconds * 1000, window, [window] {
      window->close();
      window->deleteLater();
    });
  }
  window->setModality(Qt::ApplicationModal);
  window->show();
}

}  // namespace tolvana::qt

#include "QuickAlert.moc"
