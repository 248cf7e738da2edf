// The live preview as a tester sees it: the Qt sample's window in draft mode with the
// opt-in, against the translation server; a text edited through the admin API shows in the
// window's label within a second, with no call of the app's own.
#include <gtest/gtest.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QLabel>
#include <algorithm>
#include <atomic>
#include <tolvana/platform/Platform.h>

#include "QtTestSupport.h"
#include "SampleWindow.h"

namespace {


// Edits the German draft of "Welcome" through the admin API; true once it was accepted.
bool editWelcome(const QString& text) {
  tolvana::HttpRequest request{
      .method = "PUT",
      .url = (sample.serverUrl + "/admin/v1/projects/qt-sample/entries").toStdString(),
      .headers = {{"Content-Type", "application/json"}, {"Authorization", "Bearer " + sample.adminToken.toStdString()}},
      .body = R"({"entries":[{"language":"de","group":"main","key":"Welcome","draft":")" + text.toStdString() + "\"}]}",
      .requestTimeout = 10,
      .resourceTimeout = 10};
  auto status = std::make_shared<std::atomic<int>>(-1);
  tolvana::Platform::Current().http().send(std::move(request),
                                           [status](tolvana::HttpResponse response) { *status = response.status; });
  spinUntil([&] { return *status >= 0; }, 10000);
  return *status == 200;
}

TEST(QtLivePreview, AnEditShowsInTheSampleWindowWithinASecond) {
  tolvana::Platform::Current().userDefaults().setObject("TolvanaDraftMode", true);
  SampleWindow window;
  window.show();
  auto* title = window.findChild<QLabel*>("title");
  ASSERT_NE(title, nullptr);
  ASSERT_TRUE(spinUntil([&] { return title->text() == "Willkommen im Qt-Beispiel"; }, 15000)) << title->text().toStdString();

  // The listener connects after start-up; the first edit is waited for as long as that takes.
  ASSERT_TRUE(editWelcome("Willkommen, live"));
  ASSERT_TRUE(spinUntil([&] { return title->text() == "Willkommen, live"; }, 15000)) << title->text().toStdString();

  std::vector<qint64> delays;
  for (int i = 1; i <= 7; ++i) {
    QString text = QString("Willkommen, Fassung %1").arg(i);
    QElapsedTimer clock;
    clock.start();
    ASSERT_TRUE(editWelcome(text));
    ASSERT_TRUE(spinUntil([&] { return title->text() == text; }, 5000)) << title->text().toStdString();
    delays.push_back(clock.elapsed());
    EXPECT_LT(delays.back(), 1000) << "edit " << i;
  }
  std::sort(delays.begin(), delays.end());
  std::printf("live preview: edit to label, median %lld ms, longest %lld ms over %zu edits\n",
              static_cast<long long>(delays[delays.size() / 2]), static_cast<long long>(delays.back()), delays.size());
}

}  // namespace

int main(int argc, char** argv) {
  return runSampleTests<QApplication>(argc, argv, "<key>TolvanaLivePreview</key><true/>");
}
