// The hidden gestures from synthetic touch sequences and their keyboard equivalents.
#include <gtest/gtest.h>

#include <QTest>
#include <QWidget>
#include <memory>
#include <tolvana/platform/Platform.h>

#include "QtTestSupport.h"

namespace {

struct Counted {
  int presses = 0, swipes = 0;
};

TEST(DraftModeGestures, TwoFingersHeldOrSwipedAndTheirKeys) {
  Counted seen;
  auto& ui = tolvana::Platform::Current().ui();
  ui.addLongPressGesture([&] { ++seen.presses; });
  ui.addSwipeGestures([&] { ++seen.swipes; });
  QWidget window;
  window.resize(400, 600);
  window.show();
  ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
  // Owned here: the test library leaves the device to whoever made it.
  std::unique_ptr<QPointingDevice> device(QTest::createTouchDevice());
  QPointingDevice* screen = device.get();

  // One finger held, and two fingers lifted early, are no press.
  QTest::touchEvent(&window, screen).press(0, {100, 300});
  QTest::qWait(300);
  QTest::touchEvent(&window, screen).release(0, {100, 300});
  QTest::touchEvent(&window, screen).press(0, {100, 300}).press(1, {160, 300});
  QTest::qWait(500);
  QTest::touchEvent(&window, screen).release(0, {100, 300}).release(1, {160, 300});
  EXPECT_EQ(seen.presses, 0);

  QTest::touchEvent(&window, screen).press(0, {100, 300}).press(1, {160, 300});
  EXPECT_TRUE(spinUntil([&] { return seen.presses == 1; }, 6000));
  QTest::touchEvent(&window, screen).release(0, {100, 300}).release(1, {160, 300});

  for (int dy : {-120, 120}) {
    QTest::touchEvent(&window, screen).press(0, {100, 300}).press(1, {160, 300});
    for (int step = 1; step <= 4; ++step) {
      QTest::touchEvent(&window, screen).move(0, {100, 300 + dy * step / 4}).move(1, {160, 300 + dy * step / 4});
    }
    QTest::touchEvent(&window, screen).release(0, {100, 300 + dy}).release(1, {160, 300 + dy});
  }
  QCoreApplication::processEvents();
  EXPECT_EQ(seen.swipes, 2);
  EXPECT_EQ(seen.presses, 1) << "a swipe is no press";

  const auto chord = Qt::ControlModifier | Qt::AltModifier | Qt::ShiftModifier;
  QTest::keyClick(&window, Qt::Key_K, chord);
  QTest::keyClick(&window, Qt::Key_Down, chord);
  QTest::keyClick(&window, Qt::Key_K, Qt::ControlModifier);
  EXPECT_EQ(seen.presses, 2);
  EXPECT_EQ(seen.swipes, 3);
}

}  // namespace
