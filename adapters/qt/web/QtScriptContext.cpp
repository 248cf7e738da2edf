#include "QtScriptContext.h"

#include <stdexcept>

#include "QtValue.h"
#include "tolvana/Hooks.h"

namespace tolvana::qt {

namespace {

QString qText(std::string_view text) { return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())); }

QJSValue toScript(QJSEngine& engine, const Value& value) {
  if (value.isNull()) return QJSValue(QJSValue::UndefinedValue);
  if (value.isString()) return QJSValue(QString::fromStdString(value.asString()));
  if (value.isBoolean()) return QJSValue(value.asBoolean());
  if (auto number = value.numberAsDouble()) return QJSValue(*number);
  return QJSValue(QString::fromStdString(value.description()));
}

}  // namespace

int NativeFunctions::add(ScriptContext::Function function) {
  functions_.push_back(std::move(function));
  return static_cast<int>(functions_.size() - 1);
}

QJSValue NativeFunctions::call(int index, const QJSValue& arguments) {
  auto* engine = qjsEngine(this);
  if (!engine || index < 0 || static_cast<std::size_t>(index) >= functions_.size()) return {};
  std::vector<Value> values;
  const int length = arguments.property(QStringLiteral("length")).toInt();
  for (int i = 0; i < length; ++i) values.push_back(toValue(arguments.property(static_cast<quint32>(i))));
  // The function may evaluate script that adds functions; keep a copy of this one.
  ScriptContext::Function function = functions_[static_cast<std::size_t>(index)];
  // Nothing may unwind through the script engine.
  QJSValue result;
  TolvanaHooks::runGuarded("A script's native function", [&] { result = toScript(*engine, function(values)); });
  return result;
}

std::shared_ptr<QtScriptContext> QtScriptContext::forEngine(QJSEngine* engine) {
  auto* functions = engine->findChild<NativeFunctions*>(QString(), Qt::FindDirectChildrenOnly);
  if (!functions) functions = new NativeFunctions(engine);
  auto context = std::make_shared<QtScriptContext>(engine);
  context->functions_ = functions;
  functions->keep(context);
  return context;
}

QtScriptContext::QtScriptContext(QJSEngine* engine) : engine_(engine) {}

std::string QtScriptContext::description() const {
  if (!engine_) return "(null)";
  return QStringLiteral("%1(%2)").arg(QString::fromLatin1(engine_->metaObject()->className()))
      .arg(reinterpret_cast<quintptr>(engine_.data()), 0, 16).toStdString();
}

bool QtScriptContext::reported(const QJSValue& result) {
  if (!result.isError()) return false;
  if (handler_) handler_(result.toString().toStdString());
  return true;
}

void QtScriptContext::setObject(std::string_view name) {
  if (!engine_) throw std::runtime_error("the script engine is gone");
  engine_->globalObject().setProperty(qText(name), engine_->newObject());
}

void QtScriptContext::setFunction(std::string_view object, std::string_view name, Function function) {
  if (!engine_ || !functions_) throw std::runtime_error("the script engine is gone");
  QJSValue global = engine_->globalObject();
  QJSValue target = global.property(qText(object));
  if (!target.isObject()) {
    target = engine_->newObject();
    global.setProperty(qText(object), target);
  }
  static const QString wrapper = QStringLiteral(
      "(function (native, index) { return function () {"
      " return native.call(index, Array.prototype.slice.call(arguments)); }; })");
  QJSValue make = engine_->evaluate(wrapper);
  QJSValue made = make.call({engine_->newQObject(functions_), QJSValue(functions_->add(std::move(function)))});
  if (made.isError()) throw std::runtime_error(made.toString().toStdString());
  target.setProperty(qText(name), made);
}

void QtScriptContext::evaluateScript(std::string_view script) {
  if (!engine_) return;
  reported(engine_->evaluate(qText(script)));
}

}  // namespace tolvana::qt
