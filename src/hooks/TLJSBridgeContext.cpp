// The bridge for script contexts without a web view: native functions that the page script
// calls synchronously.
#include "config/TLSettings.h"
#include "hooks/PageRequests.h"
#include "localization/PageScripts.h"
#include "support/Boundary.h"
#include "support/TLLog.h"
#include "tolvana/TLJSBridge.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {

namespace {

using Arguments = std::vector<Value>;

// What a failure while attaching (or while answering an attached context) logs, whatever it was.
void notAttaching(std::string_view, const char*) { logError("attachToJSContext not attaching"); }

const Value* argument(const Arguments& arguments, std::size_t i) {
  return i < arguments.size() ? &arguments[i] : nullptr;
}
std::optional<std::string> textArgument(const Arguments& arguments, std::size_t i) {
  return PageRequests::text(argument(arguments, i));
}

// getString (key, default), getStringWithArguments (key, args, separator, default) and
// getStringWithArgumentsAndPluralRule (key, args, separator, plural word, default).
Value lookUp(const Arguments& a, bool withArguments, bool withRule) {
  PageRequests::Lookup lookup;
  lookup.key = textArgument(a, 0);
  std::size_t next = 1;
  if (withArguments) {
    lookup.arguments = TLJSBridge::convertArguments(textArgument(a, 1), textArgument(a, 2));
    next = 3;
  }
  if (withRule) {
    // An absent word is still a rule: the invalid one.
    lookup.pluralRule = textArgument(a, next++).value_or("(null)");
  }
  lookup.defaultValue = textArgument(a, next);
  return PageRequests::lookUp(lookup);
}

void exportNative(const std::shared_ptr<ScriptContext>& context) {
  context->setObject("TolvanaNative");
  context->setFunction("TolvanaNative", "getString", [](const Arguments& a) { return lookUp(a, false, false); });
  context->setFunction("TolvanaNative", "getStringWithArguments",
                       [](const Arguments& a) { return lookUp(a, true, false); });
  context->setFunction("TolvanaNative", "getStringWithArgumentsAndPluralRule",
                       [](const Arguments& a) { return lookUp(a, true, true); });
  context->setFunction("TolvanaNative", "getPluralRuleForQuantity", [](const Arguments& a) {
    auto word = PageRequests::pluralRuleWordForQuantity(a.empty() ? Value() : a[0]);
    return word ? Value(*word) : Value();
  });
}

void exportLog(const std::shared_ptr<ScriptContext>& context) {
  context->setObject("TLLog");
  const std::pair<const char*, int> levels[] = {{"verbose", TLLog::kVerbose}, {"info", TLLog::kInfo},
                                                {"warn", TLLog::kWarning},    {"error", TLLog::kError},
                                                {"Assert", TLLog::kAssert}};
  for (const auto& [name, level] : levels) {
    context->setFunction("TLLog", name, [level = level](const Arguments& a) {
      TLLog::sharedInstance().log(TLLog::tag(), level, "JS: %@", textArgument(a, 0));
      return Value();
    });
  }
  // The page's debug output is dropped on purpose.
  context->setFunction("TLLog", "debug", [](const Arguments&) { return Value(); });
}

// Held weakly by its own functions, so a context that goes away is not kept alive by them.
void exportScriptFunctions(const std::shared_ptr<ScriptContext>& context) {
  std::weak_ptr<ScriptContext> weak = context;
  context->setFunction("TolvanaNative", "loadScript", [weak](const Arguments&) {
    if (auto context = weak.lock()) context->evaluateScript(legacyPageScript());
    return Value();
  });
  context->setFunction("TolvanaNative", "updateGroups", [weak](const Arguments& a) {
    auto callback = textArgument(a, 3);
    auto separator = textArgument(a, 2);
    PageRequests::updateGroups(textArgument(a, 0), textArgument(a, 1), separator ? *separator : ",",
                               [weak, callback](bool success) {
                                 auto context = weak.lock();
                                 if (!context) return;
                                 guarded("attachToJSContext", [&] {
                                   context->evaluateScript(format("TolvanaUpdateGroupsFinished(%@, %@)",
                                                                  PageRequests::literal(callback.value_or("(null)")),
                                                                  success ? "true" : "false"));
                                 }, notAttaching);
                               });
    return Value();
  });
}

void attach(const std::shared_ptr<ScriptContext>& context) {
  if (TLSettings::enableJSConsoleLog()) {
    // Straight to the system log: the page's console is not the engine's logger.
    context->setFunction("console", "log", [](const Arguments& a) {
      Platform::Current().logSink().writeLine(format("console.log: %@", textArgument(a, 0)));
      return Value();
    });
  }
  bool reportsExceptions = context->canReportExceptions();
  if (reportsExceptions) {
    std::weak_ptr<ScriptContext> weak = context;
    context->setExceptionHandler([weak](const std::string& exception) {
      auto context = weak.lock();
      logError("JS: Context: %@ - Error: %@", context ? context->description() : std::string("(null)"), exception);
    });
  }
  exportNative(context);
  exportLog(context);
  // Only a context that reports its errors gets the script; one that cannot would fail silently.
  if (!reportsExceptions) return;
  exportScriptFunctions(context);
  context->evaluateScript(legacyPageScript());
}

}  // namespace

void TLJSBridge::attachToJSContext(const std::shared_ptr<ScriptContext>& context) {
  guarded("attachToJSContext", [&] {
    logVerbose("attachToJS called");
    if (!context || !TLSettings::translateWebViews()) return;
    attach(context);
  }, notAttaching);
}

}  // namespace tolvana
