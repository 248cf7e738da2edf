// Application objects as a host makes them: several one after another in one process (each
// gets working ports of its own, and what the previous one left behind is released), and one
// whose bundle asks for keys with their translation context.
#include <gtest/gtest.h>

#include <QApplication>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QWidget>
#include <atomic>
#include <memory>
#include <thread>
#include <tolvana/platform/Platform.h>

#include "QtTestSupport.h"

namespace {

TEST(QtApplicationObjects, EachGetsWorkingPortsAndThePreviousOnesGo) {
  QTemporaryDir work;
  runAsSample(copySample(work.path(), "http://127.0.0.1:1", "<key>TolvanaInitialUpdate</key><false/>"), work.path());
  std::weak_ptr<tolvana::Ui> previousUi;
  for (int round = 0; round < 3; ++round) {
    SCOPED_TRACE(round);
    int argc = 1;
    char name[] = "tolvana_qt_application_objects_test";
    char* argv[] = {name, nullptr};
    auto app = std::make_unique<QApplication>(argc, argv);
    EXPECT_TRUE(previousUi.expired()) << "the previous application's ports are still held";
    auto ports = tolvana::Platform::Current().ports();
    previousUi = ports.ui;

    int presses = 0;
    ports.ui->addLongPressGesture([&presses] { ++presses; });
    {
      QWidget window;
      window.show();
      ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
      QTest::keyClick(&window, Qt::Key_K, Qt::ControlModifier | Qt::AltModifier | Qt::ShiftModifier);
      EXPECT_EQ(presses, 1) << "the draft-mode keys do not reach this application's windows";
    }

    // Another thread queues main-queue work while the application, and with it the queue's
    // context, goes away.
    std::atomic<bool> stop{false};
    std::thread poster([dispatch = ports.dispatch, &stop] {
      while (!stop) dispatch->mainAsync([] {});
    });
    ports = {};
    QTest::qWait(20);
    app.reset();
    stop = true;
    poster.join();
  }
}

// With "TolvanaQtKeysWithContext", one source text has a translation per context (and per
// disambiguation), plural forms included; an id and a text the stores lack behave as before.
TEST(QtKeysWithContext, OneSourceTextTranslatedPerContext) {
  QTemporaryDir work;
  QString bundle = copySample(work.path(), "http://127.0.0.1:1",
                              "<key>TolvanaInitialUpdate</key><false/><key>TolvanaQtKeysWithContext</key><true/>");
  QFile strings(work.path() + "/de.json");
  ASSERT_TRUE(strings.open(QIODevice::WriteOnly));
  strings.write(R"({"version": 1, "entries": {
    "Cart|Open": {"v": "Warenkorb öffnen"}, "Files|Open": {"v": "Datei öffnen"},
    "Files|Open|menu": {"v": "Öffnen …"}, "Cart|%n item(s)[one]": {"v": "Ein Artikel"},
    "Cart|%n item(s)[other]": {"v": "%n Artikel"}, "footer.note": {"v": "Fußnote"}}})");
  strings.close();
  ASSERT_EQ(QProcess::execute(TOLVANA_CLI_BINARY, {"pack", "--app-file", TOLVANA_QT_SAMPLE_DIR "/app.json", "--strings",
                                                   "de=" + strings.fileName(), "-o", bundle + "/tolvana_settings.tolvana"}),
            0);
  runAsSample(bundle, work.path());
  int argc = 1;
  char name[] = "tolvana_qt_application_objects_test";
  char* argv[] = {name, nullptr};
  QApplication app(argc, argv);
  struct Case {
    const char *context, *source, *disambiguation;
    int n;
    const char* shown;
  } const cases[] = {
      {"Cart", "Open", nullptr, -1, "Warenkorb öffnen"}, {"Files", "Open", nullptr, -1, "Datei öffnen"},
      {"Files", "Open", "menu", -1, "Öffnen …"},         {"Cart", "%n item(s)", nullptr, 1, "Ein Artikel"},
      {"Cart", "%n item(s)", nullptr, 4, "4 Artikel"},   {"Other", "Open", nullptr, -1, "Open"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(QCoreApplication::translate(c.context, c.source, c.disambiguation, c.n).toStdString(), c.shown)
        << c.context << " " << c.source;
  }
  EXPECT_EQ(qtTrId("footer.note").toStdString(), "Fußnote");
}

}  // namespace
