#include "tolvana/qt/ItemKeys.h"

#include <QQuickItem>
#include <tolvana/Hooks.h>

#include "QuickItemTree.h"

namespace tolvana::qt {

QString keyForItem(QQuickItem* item) {
  static const char kKeyProperty[] = "tolvanaKey";
  if (!item) return {};
  if (auto text = shownText(item); text && !text->isEmpty()) {
    if (auto key = TolvanaHooks::keyForText(text->constData())) {
      QString tagged = QString::fromStdString(*key);
      item->setProperty(kKeyProperty, tagged);
      return tagged;
    }
  }
  return item->property(kKeyProperty).toString();
}

}  // namespace tolvana::qt
