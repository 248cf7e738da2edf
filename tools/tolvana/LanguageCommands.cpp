// tolvana languages / set-language: which languages the app looks texts up in, and forcing
// one as the host's setLanguage does.
#include <cstdio>

#include "Commands.h"
#include "config/TLDeviceUtil.h"

namespace tolvana::cli {

namespace {

void languages(Session& session) {
  auto engine = session.engine();
  auto db = engine->database();
  std::printf("device language (long)   %s\n", TLDeviceUtil::deviceLanguageLong().c_str());
  std::printf("device language (short)  %s\n", TLDeviceUtil::deviceLanguage().c_str());
  std::printf("device locale            %s\n", TLDeviceUtil::deviceLocale().c_str());
  std::printf("default languages        %s\n", listOrNone(engine->defaultLanguages()).c_str());
  std::printf("base language            %s\n", engine->getBaseLanguage().value_or("(none)").c_str());
  std::printf("available languages      %s\n",
              db && db->initialized() ? listOrNone(db->availableLanguages()).c_str() : "(app not initialised)");
}

void setLanguage(Session& session, const std::optional<std::string>& language) {
  auto engine = session.engine();
  if (!engine->setLanguage(language)) {
    auto db = engine->database();
    if (!db || !db->initialized()) throw CommandError(session.withEngineError("the app is not initialised"));
    throw CommandError("language " + language.value_or("") + " is not one of the app's (" +
                       listOrNone(db->availableLanguages()) + ")");
  }
  // The engine keeps the choice for this run even when it cannot be stored.
  session.saveDefaults();
  if (language) {
    session.note("app language set to " + *language + " (device language now " + TLDeviceUtil::deviceLanguageLong() +
                 ")");
  } else {
    session.note("app language reset to the device's (" + TLDeviceUtil::deviceLanguageLong() + ")");
  }
}

}  // namespace

void addLanguageCommands(CLI::App& app, Session& session) {
  app.add_subcommand("languages", "Device, default, base and available languages")->callback([&session] {
    languages(session);
  });

  struct Arguments {
    std::optional<std::string> code;
    bool reset = false;
  };
  auto args = std::make_shared<Arguments>();
  auto* command = app.add_subcommand("set-language", "Force the app language (kept in the app's defaults)");
  auto* code = command->add_option("CODE", args->code, "The language, e.g. de or pt-BR");
  command->add_flag("--reset", args->reset, "Go back to the device's languages")->excludes(code);
  command->callback([&session, args] {
    if (!args->code && !args->reset) throw UsageError("set-language needs a CODE or --reset");
    setLanguage(session, args->reset ? std::nullopt : args->code);
  });
}

}  // namespace tolvana::cli
