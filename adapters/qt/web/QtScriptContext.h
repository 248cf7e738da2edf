// QtScriptContext: the ScriptContext port over a QJSEngine. Native functions are reached
// through one QObject per engine whose invocable call() dispatches by number; a small script
// wrapper turns each into a plain function of the global object's members.
//
// Thread contract: the engine's thread. An engine that is gone ignores every call.
#pragma once

#include <QJSEngine>
#include <QObject>
#include <QPointer>
#include <memory>
#include <tolvana/platform/ScriptContext.h>
#include <vector>

namespace tolvana::qt {

class NativeFunctions final : public QObject {
  Q_OBJECT
 public:
  explicit NativeFunctions(QObject* parent) : QObject(parent) {}
  int add(ScriptContext::Function function);
  // The bridge holds the port weakly; the engine keeps it, through this object, as long as
  // the engine lives.
  void keep(std::shared_ptr<ScriptContext> context) { context_ = std::move(context); }
  Q_INVOKABLE QJSValue call(int index, const QJSValue& arguments);

 private:
  std::vector<ScriptContext::Function> functions_;
  std::shared_ptr<ScriptContext> context_;
};

class QtScriptContext final : public ScriptContext {
 public:
  // The engine's port, made on first use.
  static std::shared_ptr<QtScriptContext> forEngine(QJSEngine* engine);
  explicit QtScriptContext(QJSEngine* engine);
  std::string description() const override;
  bool canReportExceptions() const override { return true; }
  void setExceptionHandler(ExceptionHandler handler) override { handler_ = std::move(handler); }
  void setObject(std::string_view name) override;
  void setFunction(std::string_view object, std::string_view name, Function function) override;
  void evaluateScript(std::string_view script) override;

 private:
  // Reports an error value to the handler; true when it was one.
  bool reported(const QJSValue& result);

  QPointer<QJSEngine> engine_;
  QPointer<NativeFunctions> functions_;
  ExceptionHandler handler_;
};

}  // namespace tolvana::qt
