// What a page or a script engine hands over, as the engine's value type.
#pragma once

#include <QJSValue>
#include <QJsonValue>
#include <tolvana/Value.h>

namespace tolvana::qt {

// Undefined and null become Null; numbers are reals, as they are in script.
Value toValue(const QJsonValue& value);
Value toValue(const QJSValue& value);

}  // namespace tolvana::qt
