// Prints the translation of each argument (a key of the translation context "Host"). The
// library is linked, never called: its translator answers QCoreApplication::translate.
#include <QCoreApplication>
#include <cstdio>

int main(int argc, char** argv) {
  QCoreApplication app(argc, argv);
  for (int i = 1; i < argc; ++i) std::printf("%s\n", qPrintable(QCoreApplication::translate("Host", argv[i])));
  return 0;
}
