// A host that makes its application object anew, several times in one process: each object
// gets working ports of its own, and what the previous one left behind is released.
#include <gtest/gtest.h>

#include <QApplication>
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

}  // namespace
