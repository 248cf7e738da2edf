#include "QuickItemTree.h"

#include <QGuiApplication>
#include <QMetaProperty>
#include <QQuickWidget>
#include <tolvana/Hooks.h>

#include "tolvana/qt/ItemKeys.h"

namespace tolvana::qt {
namespace {

std::optional<QString> stringProperty(const QObject* object, const char* name) {
  const QMetaObject* meta = object->metaObject();
  int index = meta->indexOfProperty(name);
  if (index < 0 || meta->property(index).metaType() != QMetaType::fromType<QString>()) return std::nullopt;
  return meta->property(index).read(object).toString();
}

// shownAbove: the texts of the items this one sits in, which its own copy of one repeats.
UiView itemTree(QQuickItem* item, QQuickItem* root, std::vector<QString>& shownAbove) {
  UiView view;
  view.hidden = !item->isVisible();
  view.alpha = item->opacity();
  // The item's own box: a field's bounding rectangle is only its text's, a cursor when empty.
  QRectF frame = QRectF(QPointF(), item->size());
  if (item != root) frame = item->mapRectToScene(frame);
  view.frame = {frame.x(), frame.y(), frame.width(), frame.height()};
  bool pushed = false;
  if (auto text = shownText(item); text && !text->isEmpty()) {
    bool repeated = std::find(shownAbove.begin(), shownAbove.end(), *text) != shownAbove.end();
    if (!repeated) {
      view.text = text->toStdString();
      if (auto key = TolvanaHooks::keyForText(text->constData())) view.textKey = *key;
      view.viewKey = keyForItem(item).toStdString();
      shownAbove.push_back(*text);
      pushed = true;
    }
  }
  // Children in drawing order: what is drawn later lies on top.
  for (QQuickItem* child : item->childItems()) view.subviews.push_back(itemTree(child, root, shownAbove));
  if (pushed) shownAbove.pop_back();
  return view;
}

}  // namespace

std::optional<QString> shownText(const QQuickItem* item) {
  auto text = stringProperty(item, "text");
  if (text && text->isEmpty()) {
    if (auto placeholder = stringProperty(item, "placeholderText")) return placeholder;
  }
  return text;
}

bool isOurWindow(const QWindow* window) { return window->objectName().startsWith(QLatin1String("Tolvana")); }

QWindow* firstAppWindow() {
  // Top-level windows come in the order they were made, so the first one shown comes first.
  for (QWindow* window : QGuiApplication::topLevelWindows()) {
    Qt::WindowType type = window->type();
    if (window->isVisible() && !isOurWindow(window) && type != Qt::Popup && type != Qt::ToolTip) return window;
  }
  return nullptr;
}

UiView viewTree(QQuickWindow* window) {
  std::vector<QString> shownAbove;
  UiView view = itemTree(window->contentItem(), window->contentItem(), shownAbove);
  view.hidden = !window->isVisible();
  view.alpha = window->opacity();
  return view;
}

std::vector<UiView> sceneInWidget(const QWidget* widget) {
  auto* host = qobject_cast<const QQuickWidget*>(widget);
  QQuickWindow* scene = host ? host->quickWindow() : nullptr;
  if (!scene) return {};
  // The scene's window is never shown: the widget's view stands for its visibility.
  std::vector<QString> shownAbove;
  return {itemTree(scene->contentItem(), scene->contentItem(), shownAbove)};
}

}  // namespace tolvana::qt
