// What the Qt tests share.
#pragma once

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <cstdio>
#include <functional>
#include <string>
#include <tolvana/platform/Ui.h>
#include <vector>

// Runs the event loop until done() holds or the limit passes.
inline bool spinUntil(const std::function<bool()>& done, int limitMs = 30000) {
  QElapsedTimer timer;
  timer.start();
  while (!done() && timer.elapsed() < limitMs) QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
  return done();
}

// Starts the translation server on a copy of the Qt sample's project in workDir; its URL, empty
// when it did not start. Its admin token is then in workDir/project/.tolvana-server/admin-token.
inline QString startSampleServer(QProcess& server, const QString& workDir, const QStringList& options = {}) {
  QProcess::execute("cp", {"-r", QStringLiteral(TOLVANA_QT_SAMPLE_DIR "/project"), workDir + "/project"});
  server.setProcessChannelMode(QProcess::MergedChannels);
  server.start(QStringLiteral(TOLVANA_CLI_BINARY),
               QStringList{"serve", "--project", workDir + "/project", "--port", "0"} + options);
  QString url;
  while (url.isEmpty() && server.waitForReadyRead(10000)) {
    for (const QString& line : QString::fromUtf8(server.readAll()).split('\n')) {
      if (line.startsWith("listening on ")) url = line.mid(13).trimmed();
    }
  }
  return url;
}

// A copy of the built sample bundle whose Info.plist names the host and carries extra keys.
inline QString copySample(const QString& dir, const QString& host, const QString& extraKeys) {
  QString bundle = dir + "/QtSample.app";
  QDir().mkpath(bundle);
  for (const char* name : {"QtSample", "tolvana_settings.tolvana"}) {
    QFile::copy(QStringLiteral(TOLVANA_QT_SAMPLE_BUNDLE "/") + name, bundle + "/" + name);
  }
  QFile in(QStringLiteral(TOLVANA_QT_SAMPLE_DIR "/QtSample.app/Info.plist.in"));
  QFile out(bundle + "/Info.plist");
  if (!in.open(QIODevice::ReadOnly) || !out.open(QIODevice::WriteOnly)) return {};
  out.write(QString::fromUtf8(in.readAll()).replace("@HOST@", host).replace("</dict>", extraKeys + "</dict>").toUtf8());
  return bundle;
}

// Makes this process the app in bundle, with a German user whose home is under home.
inline void runAsSample(const QString& bundle, const QString& home) {
  qputenv("TOLVANA_MAIN_BUNDLE", bundle.toUtf8());
  for (const char* variable : {"HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME"}) {
    qputenv(variable, (home + "/" + variable).toUtf8());
  }
  qputenv("LANG", "de_DE.UTF-8");
  for (const char* variable : {"LANGUAGE", "LC_ALL", "LC_MESSAGES"}) qunsetenv(variable);
}

// What a Qt test program's main() set up before its tests: a folder of its own, the translation
// server on a copy of the sample project in it, and the server's admin token (empty when the
// server keeps none).
struct SampleSetting {
  QString workDir;
  QString serverUrl;
  QString adminToken;
};
inline SampleSetting sample;

// The main() of a Qt test program: starts the server (with serverOptions), makes this process
// the sample app under sample.workDir/app with infoPlistKeys added to its Info.plist, and runs
// the tests in an Application (offscreen unless another platform is set) made after
// beforeApplication(); then ends the server. The tests' status, 1 when the setting failed.
template <class Application>
int runSampleTests(int argc, char** argv, const QString& infoPlistKeys, const QStringList& serverOptions = {},
                   void (*beforeApplication)() = nullptr) {
  ::testing::InitGoogleTest(&argc, argv);
  QTemporaryDir work;
  sample.workDir = work.path();
  QProcess server;
  sample.serverUrl = startSampleServer(server, sample.workDir, serverOptions);
  if (sample.serverUrl.isEmpty()) {
    std::fprintf(stderr, "the translation server did not start\n");
    return 1;
  }
  QFile token(sample.workDir + "/project/.tolvana-server/admin-token");
  if (token.open(QIODevice::ReadOnly)) sample.adminToken = QString::fromUtf8(token.readAll()).trimmed();
  QString home = sample.workDir + "/app";
  QString bundle = copySample(home, sample.serverUrl, infoPlistKeys);
  if (bundle.isEmpty()) return 1;
  runAsSample(bundle, home);
  if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  if (beforeApplication) beforeApplication();
  int status;
  {
    Application app(argc, argv);
    status = RUN_ALL_TESTS();
  }
  server.kill();
  server.waitForFinished();
  return status;
}

// "text|textKey|viewKey|x,y,w,h" of each view with text a user sees (not hidden, not fully
// transparent, nor under such a view), depth first.
inline void flatten(const tolvana::UiView& view, std::vector<std::string>& out, bool underHidden = false) {
  bool skipped = underHidden || view.hidden || view.alpha <= 0;
  if (view.text && !skipped) {
    const auto& f = view.frame;
    out.push_back(*view.text + "|" + view.textKey + "|" + view.viewKey + "|" + std::to_string(int(f.x)) + "," +
                  std::to_string(int(f.y)) + "," + std::to_string(int(f.width)) + "," + std::to_string(int(f.height)));
  }
  for (const auto& child : view.subviews) flatten(child, out, skipped);
}
