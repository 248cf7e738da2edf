#include "EventLoopWait.h"

#include <QEventLoop>
#include <QTimer>

namespace tolvana::qt {

void waitOneSecond() {
  QEventLoop loop;
  QTimer::singleShot(1000, &loop, &QEventLoop::quit);
  loop.exec();
}

}  // namespace tolvana::qt
