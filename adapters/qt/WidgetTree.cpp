#include "WidgetTree.h"

#include <QAbstractButton>
#include <QApplication>
#include <QGraphicsOpacityEffect>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QScreen>
#include <QTextEdit>
#include <QWindow>

#include "tolvana/Hooks.h"
#include "tolvana/qt/UiLayers.h"

namespace tolvana::qt {
namespace {

bool isOurs(const QWidget* window) { return window->objectName().startsWith(QLatin1String("Tolvana")); }

// The text a user reads on the widget; a field shows what was typed, not its placeholder.
std::optional<QString> shownText(const QWidget* widget) {
  if (auto* label = qobject_cast<const QLabel*>(widget)) return label->text();
  if (auto* button = qobject_cast<const QAbstractButton*>(widget)) return button->text();
  if (auto* edit = qobject_cast<const QLineEdit*>(widget)) return edit->text();
  if (auto* box = qobject_cast<const QGroupBox*>(widget)) return box->title();
  if (auto* edit = qobject_cast<const QTextEdit*>(widget)) return edit->toPlainText();
  if (auto* edit = qobject_cast<const QPlainTextEdit*>(widget)) return edit->toPlainText();
  return std::nullopt;
}

double opacity(const QWidget* widget) {
  if (widget->isWindow()) return widget->windowOpacity();
  auto* effect = qobject_cast<QGraphicsOpacityEffect*>(widget->graphicsEffect());
  return effect && effect->isEnabled() ? effect->opacity() : 1.0;
}

std::vector<WidgetContent>& widgetContents() {
  static std::vector<WidgetContent> contents;
  return contents;
}

void moveBy(UiView& view, double dx, double dy) {
  view.frame.x += dx;
  view.frame.y += dy;
  for (UiView& child : view.subviews) moveBy(child, dx, dy);
}

}  // namespace

void addWidgetContent(WidgetContent content) { widgetContents().push_back(std::move(content)); }

QWidget* rootWindow() {
  if (!qobject_cast<QApplication*>(QCoreApplication::instance())) return nullptr;
  // Top-level widgets come in no particular order; their native windows in the order they
  // were made, so the first one shown comes first.
  const QWidgetList widgets = QApplication::topLevelWidgets();
  for (QWindow* handle : QGuiApplication::topLevelWindows()) {
    for (QWidget* window : widgets) {
      if (window->windowHandle() == handle && window->isVisible() && !isOurs(window) &&
          window->windowType() != Qt::Popup && window->windowType() != Qt::ToolTip) {
        return window;
      }
    }
  }
  return nullptr;
}

QWidget* keyWindow() {
  if (!qobject_cast<QApplication*>(QCoreApplication::instance())) return nullptr;
  QWidget* active = QApplication::activeWindow();
  return active && !isOurs(active) ? active : nullptr;
}

UiView viewTree(QWidget* widget, QWidget* window) {
  UiView view;
  view.hidden = widget == window ? !widget->isVisible() : widget->isHidden();
  view.alpha = opacity(widget);
  if (auto text = shownText(widget); text && !text->isEmpty()) {
    view.text = text->toStdString();
    if (auto key = TolvanaHooks::keyForText(text->constData())) view.textKey = *key;
  }
  view.viewKey = widget->property("tolvanaKey").toString().toStdString();
  QPoint origin = widget == window ? QPoint() : widget->mapTo(window, QPoint());
  view.frame = {double(origin.x()), double(origin.y()), double(widget->width()), double(widget->height())};
  for (QObject* child : widget->children()) {
    auto* childWidget = qobject_cast<QWidget*>(child);
    if (childWidget && !childWidget->isWindow()) view.subviews.push_back(viewTree(childWidget, window));
  }
  // Drawn over the widget's own children, as a scene fills its widget.
  for (const WidgetContent& content : widgetContents()) {
    for (UiView& drawn : content(widget)) {
      moveBy(drawn, origin.x(), origin.y());
      view.subviews.push_back(std::move(drawn));
    }
  }
  return view;
}

UiScreen primaryScreen() {
  QScreen* screen = qobject_cast<QGuiApplication*>(QCoreApplication::instance()) ? QGuiApplication::primaryScreen() : nullptr;
  if (!screen) return {};
  return {double(screen->size().width()), double(screen->size().height()), screen->devicePixelRatio()};
}

}  // namespace tolvana::qt
