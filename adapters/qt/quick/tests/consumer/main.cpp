// Prints the value of each argument, a QML expression evaluated in an object that imports the
// library's module "Tolvana". The library is linked, never called.
#include <QCoreApplication>
#include <QQmlComponent>
#include <QQmlEngine>
#include <cstdio>
#include <memory>

int main(int argc, char** argv) {
  QCoreApplication app(argc, argv);
  QQmlEngine engine;
  for (int i = 1; i < argc; ++i) {
    QQmlComponent component(&engine);
    component.setData("import QtQml\nimport Tolvana\nQtObject { property var value: " + QByteArray(argv[i]) + " }",
                      QUrl(QStringLiteral("qrc:/Host.qml")));
    std::unique_ptr<QObject> object(component.create());
    std::printf("%s\n", object ? qPrintable(object->property("value").toString()) : qPrintable(component.errorString()));
  }
  return 0;
}
