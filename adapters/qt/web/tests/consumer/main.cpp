// Evaluates its arguments as script in a QJSEngine handed to Tolvana, printing each result.
#include <QCoreApplication>
#include <QJSEngine>
#include <cstdio>
#include <tolvana/qt/ScriptEngine.h>

int main(int argc, char** argv) {
  QCoreApplication app(argc, argv);
  QJSEngine engine;
  tolvana::qt::attachToJSEngine(&engine);
  for (int i = 1; i < argc; ++i) std::printf("%s\n", qPrintable(engine.evaluate(QString::fromUtf8(argv[i])).toString()));
  return 0;
}
