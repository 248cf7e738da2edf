#include "QtValue.h"

#include <QJsonArray>
#include <QJsonObject>

namespace tolvana::qt {

Value toValue(const QJsonValue& value) {
  switch (value.type()) {
    case QJsonValue::Bool:
      return value.toBool();
    case QJsonValue::Double:
      return value.toDouble();
    case QJsonValue::String:
      return value.toString().toStdString();
    case QJsonValue::Array: {
      Value::Array array;
      for (const QJsonValue& item : value.toArray()) array.push_back(toValue(item));
      return array;
    }
    case QJsonValue::Object: {
      Value::Dictionary dictionary;
      const QJsonObject object = value.toObject();
      for (auto it = object.begin(); it != object.end(); ++it) dictionary[it.key().toStdString()] = toValue(it.value());
      return dictionary;
    }
    default:
      return Value();
  }
}

Value toValue(const QJSValue& value) {
  if (value.isUndefined() || value.isNull()) return Value();
  if (value.isBool()) return value.toBool();
  if (value.isNumber()) return value.toNumber();
  if (value.isString()) return value.toString().toStdString();
  return toValue(QJsonValue::fromVariant(value.toVariant()));
}

}  // namespace tolvana::qt
