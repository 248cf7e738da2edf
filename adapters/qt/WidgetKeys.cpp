#include "tolvana/qt/WidgetKeys.h"

#include <QAbstractButton>
#include <QLabel>
#include <QLineEdit>
#include <QVariant>

#include "tolvana/Hooks.h"

namespace tolvana::qt {

namespace {

constexpr const char* kKeyProperty = "tolvanaKey";

QString shownText(const QWidget* widget) {
  if (auto* label = qobject_cast<const QLabel*>(widget)) return label->text();
  if (auto* button = qobject_cast<const QAbstractButton*>(widget)) return button->text();
  if (auto* edit = qobject_cast<const QLineEdit*>(widget)) return edit->placeholderText();
  if (widget->isWindow()) return widget->windowTitle();
  return {};
}

}  // namespace

QString keyForWidget(QWidget* widget) {
  if (!widget) return {};
  QString text = shownText(widget);
  if (auto key = TolvanaHooks::keyForText(text.constData())) {
    QString tagged = QString::fromStdString(*key);
    widget->setProperty(kKeyProperty, tagged);
    return tagged;
  }
  return widget->property(kKeyProperty).toString();
}

}  // namespace tolvana::qt
