#include "QuickItemTree.h"

#include <QGuiApplication>
#include <QMetaProperty>
#include <tolvana/Hooks.h>

namespace tolvana::qt {
namespace {

const char kKeyProperty[] = "tolvanaKey";

std::optional<QString> stringProperty(const QObject* object, const char* name) {
  const QMetaObject* meta = object->metaObject();
  int index = meta->indexOfProperty(name);
  if (index < 0 || meta->property(index).metaType() != QMetaType::fromType<QString>()) return std::nullopt;
  return meta->property(index).read(object).toString();
}

// What a user reads on the item: its text, or the placeholder of a field left empty.
std::optional<QString> shownText(const QQuickItem* item) {
  auto text = stringProperty(item, "text");
  if (!text) return std::nullopt;
  if (text->isEmpty()) {
    if (auto placeholder = stringProperty(item, "placeholderText")) return placeholder;
  }
  return text;
}

// The key stays with the item, so a text later set without a tag still names it.
std::string keyOfItem(QQuickItem* item, const QString& text, std::string& textKey) {
  if (auto key = TolvanaHooks::keyForText(text.constData())) {
    textKey = *key;
    item->setProperty(kKeyProperty, QString::fromStdString(*key));
  }
  return item->property(kKeyProperty).toString().toStdString();
}

// shownAbove: the texts of the items this one sits in, which its own copy of one repeats.
UiView itemTree(QQuickItem* item, QQuickItem* root, std::vector<QString>& shownAbove) {
  UiView view;
  view.hidden = !item->isVisible();
  view.alpha = item->opacity();
  QRectF frame = item == root ? QRectF(QPointF(), item->size()) : item->mapRectToScene(item->boundingRect());
  view.frame = {frame.x(), frame.y(), frame.width(), frame.height()};
  bool pushed = false;
  if (auto text = shownText(item); text && !text->isEmpty()) {
    bool repeated = std::find(shownAbove.begin(), shownAbove.end(), *text) != shownAbove.end();
    if (!repeated) {
      view.text = text->toStdString();
      view.viewKey = keyOfItem(item, *text, view.textKey);
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

}  // namespace tolvana::qt
