// What the Qt tests share.
#pragma once

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <functional>

// Runs the event loop until done() holds or the limit passes.
inline bool spinUntil(const std::function<bool()>& done, int limitMs = 20000) {
  QElapsedTimer timer;
  timer.start();
  while (!done() && timer.elapsed() < limitMs) QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
  return done();
}
