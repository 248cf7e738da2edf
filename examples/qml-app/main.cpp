// A QML application localised by linking tolvana-qt-quick, with no call of its own into the
// library for its texts (its language switcher binds to the library's QML module). Flags
// for tests and scripts:
//   --print-texts      after start-up and the first update, print each named item of the
//                      scene as objectName, text and key (tab-separated) and exit
//   --screenshot FILE  write the scene as a PNG after the first update and exit
//   --switch-language CODE  first switch the language as the scene's switcher does
//   --review-demo FILE walk through the review tools (see ReviewWalk.h), saving the screen
//                      with the overlay open as FILE, and exit
// Other arguments (the library's launch arguments) are left to the library.
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTimer>
#include <cstdio>
#include <tolvana/qt/ItemKeys.h>
#include <tolvana/qt/TolvanaQt.h>

#include "ReviewWalk.h"

namespace {

QString argumentAfter(const QStringList& arguments, const char* flag) {
  qsizetype at = arguments.indexOf(QLatin1String(flag));
  return at > 0 && at + 1 < arguments.size() ? arguments[at + 1] : QString();
}

// A control's own items (a button's label) repeat its text; they are not printed again.
void printTexts(QQuickItem* item) {
  QString text = item->property("text").toString();
  if (text.isEmpty()) text = item->property("placeholderText").toString();
  if (!item->objectName().isEmpty() && !text.isEmpty()) {
    std::printf("%s\t%s\t%s\n", qPrintable(item->objectName()), qPrintable(text),
                qPrintable(tolvana::qt::keyForItem(item)));
    return;
  }
  for (QQuickItem* child : item->childItems()) printTexts(child);
}

}  // namespace

int main(int argc, char** argv) {
  QGuiApplication app(argc, argv);
  const QStringList arguments = app.arguments();
  QQmlApplicationEngine engine;
  // The first update ends before the scene's window shows (TolvanaWaitOnAppStart).
  engine.load(QUrl(QStringLiteral("qrc:/qml-sample/Main.qml")));
  auto* window = engine.rootObjects().isEmpty() ? nullptr : qobject_cast<QQuickWindow*>(engine.rootObjects().first());
  if (!window) return 1;

  if (QString review = argumentAfter(arguments, "--review-demo"); !review.isEmpty()) {
    runReviewWalk(window, review);
    return app.exec();
  }
  const bool print = arguments.contains(QStringLiteral("--print-texts"));
  const QString screenshot = argumentAfter(arguments, "--screenshot");
  const QString language = argumentAfter(arguments, "--switch-language");
  if (print || !screenshot.isEmpty()) {
    QTimer::singleShot(0, window, [&] {
      if (!language.isEmpty() && !tolvana::qt::TolvanaQt::instance()->setLanguage(language)) {
        std::fprintf(stderr, "the stores offer no %s\n", qPrintable(language));
      }
      if (print) printTexts(window->contentItem());
      int status = 0;
      if (!screenshot.isEmpty() && !window->grabWindow().save(screenshot, "PNG")) {
        std::fprintf(stderr, "could not write %s\n", qPrintable(screenshot));
        status = 1;
      }
      std::fflush(stdout);
      QCoreApplication::exit(status);
    });
  }
  return app.exec();
}
