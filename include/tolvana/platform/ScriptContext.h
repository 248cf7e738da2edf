// ScriptContext: a script engine without a web view around it, into whose global object the
// bridge places native functions that scripts call synchronously.
//
// Thread contract: every method is called on the thread that runs the context's scripts,
// and native functions are called back on it. A method may throw when the engine refuses;
// the bridge catches it.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "tolvana/Export.h"
#include "tolvana/Value.h"

namespace tolvana {

class TOLVANA_EXPORT ScriptContext {
 public:
  // Script arguments arrive as values (undefined and null as Null); a Null result is
  // undefined in the script.
  using Function = std::function<Value(const std::vector<Value>& arguments)>;
  using ExceptionHandler = std::function<void(const std::string& exception)>;
  virtual ~ScriptContext() = default;
  // Names the context in log lines.
  virtual std::string description() const = 0;
  // Whether the context can report script errors to a handler.
  virtual bool canReportExceptions() const = 0;
  virtual void setExceptionHandler(ExceptionHandler handler) = 0;
  // Sets the global name to a new, empty object.
  virtual void setObject(std::string_view name) = 0;
  // Sets a function as member of the global object (made when missing).
  virtual void setFunction(std::string_view object, std::string_view name, Function function) = 0;
  // Runs the script; an error it raises goes to the exception handler.
  virtual void evaluateScript(std::string_view script) = 0;
};

}  // namespace tolvana
