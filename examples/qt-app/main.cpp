// A Qt Widgets application localised by linking tolvana-qt, with no call of its own into the
// library. Two flags serve tests and scripts:
//   --print-texts      after start-up and the first update, print each visible named widget
//                      as objectName, text and key (tab-separated) and exit
//   --screenshot FILE  write the main window as a PNG after the first update and exit
//   --review-demo FILE walk through the review tools (see ReviewDemo.h), saving the screen
//                      with the overlay open as FILE, and exit
//   --web-screenshot FILE  show the sample's web page instead, write it as a PNG once its
//                      texts have arrived and exit (when built with tolvana-qt-web)
// Other arguments (the library's launch arguments) are left to the library.
#include <QApplication>
#include <QTimer>
#include <cstdio>

#include "ReviewDemo.h"
#include "SampleWindow.h"
#ifdef TOLVANA_SAMPLE_WEB
#include "WebPane.h"
#endif

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  QStringList arguments = app.arguments();
  bool printTexts = arguments.contains(QStringLiteral("--print-texts"));
  qsizetype at = arguments.indexOf(QStringLiteral("--screenshot"));
  QString screenshot = at > 0 && at + 1 < arguments.size() ? arguments[at + 1] : QString();

#ifdef TOLVANA_SAMPLE_WEB
  if (qsizetype web = arguments.indexOf(QStringLiteral("--web-screenshot")); web > 0 && web + 1 < arguments.size()) {
    auto pane = showWebPaneAndSave(arguments[web + 1]);
    return app.exec();
  }
#endif
  SampleWindow window;
  // The first update ends before the first window shows (TolvanaWaitOnAppStart), and its
  // LanguageChange is queued ahead of this.
  window.show();
  if (qsizetype review = arguments.indexOf(QStringLiteral("--review-demo")); review > 0 && review + 1 < arguments.size()) {
    runReviewDemo(&window, arguments[review + 1]);
  }
  if (printTexts || !screenshot.isEmpty()) {
    QTimer::singleShot(0, &window, [&] {
      int status = 0;
      if (printTexts) {
        for (const QString& line : window.describeTexts()) std::printf("%s\n", qPrintable(line));
      }
      if (!screenshot.isEmpty() && !window.grab().save(screenshot, "PNG")) {
        std::fprintf(stderr, "could not write %s\n", qPrintable(screenshot));
        status = 1;
      }
      std::fflush(stdout);
      QCoreApplication::exit(status);
    });
  }
  return app.exec();
}
