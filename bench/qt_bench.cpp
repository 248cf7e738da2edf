// tr() where Qt developers will compare it: QCoreApplication::translate() answered by
// Tolvana's translator (linked through tolvana-qt, as a host links it) against Qt's own
// QTranslator loaded from a .qm file of the same 10,000 entries (written as a .ts file and
// compiled with lrelease before timing), for a hit and for a miss that falls through to the
// source text; and a window of 500 labels retranslated after an update, against the same
// window retranslated when Qt's translator is swapped for another. The update is a real one:
// the translation server (started on a copy of the entries) publishes new texts for a few of
// the labels' keys and a few others, and the app takes them as it takes any update.
//
// Usage: qt_bench [Google Benchmark flags…]; needs the tolvana tool and lrelease (their paths
// are compiled in) and runs on the offscreen platform unless QT_QPA_PLATFORM says otherwise.
#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLabel>
#include <QProcess>
#include <QTemporaryDir>
#include <QTranslator>
#include <QVBoxLayout>
#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <tolvana/Tolvana.h>
#include <tolvana/platform/Platform.h>
#include <vector>

#include "RatioReporter.h"

namespace tolvana::bench {
namespace {

constexpr int kEntries = 10000;
constexpr int kLabels = 500;
// The labels, and the other keys, whose texts each update changes; Qt's second translator
// differs from its first in as many labels, so each window lays out as many new texts.
constexpr int kEditedLabels = 5, kEditedOthers = 5;
constexpr int kStep = kEntries / kLabels;  // label i shows entry i × kStep
constexpr const char* kContext = "Bench";

struct Setup {
  QTemporaryDir dir;
  std::vector<std::string> keys, misses;
  QTranslator* tolvana = nullptr;  // the adapter's, made with the application object
  std::unique_ptr<QTranslator> qt, swapped;
  QProcess server;
  std::string serverUrl, adminToken;
  int round = 0;  // of edits on the server, so that each one brings texts the app has not seen
};
Setup* setup = nullptr;

std::string key(int i) { return "Text number " + std::to_string(i) + " of the benchmark"; }
QString translation(int i) { return QStringLiteral("Übersetzter Text Nummer %1 der Messung").arg(i); }

bool write(const QString& path, const QByteArray& data) {
  QFile file(path);
  return file.open(QIODevice::WriteOnly) && file.write(data) == data.size();
}

// The app's settings archive packed by the tolvana tool from the same entries in German and
// English (one group, as the server holds them), the server's project of the same entries,
// and the German .qm files made by lrelease (the second with a few labels' texts changed).
bool prepareFiles(const QString& dir) {
  QByteArray german = R"({"version": 1, "entries": {)", english = german;
  QByteArray ts = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<!DOCTYPE TS>\n<TS version=\"2.1\" language=\"de\">\n"
                  "<context><name>" + QByteArray(kContext) + "</name>\n", changed = ts;
  for (int i = 0; i < kEntries; ++i) {
    QByteArray source = QByteArray::fromStdString(key(i)), text = translation(i).toUtf8();
    const char* comma = i ? "," : "";
    german += comma + ("\"" + source + "\": {\"v\": \"" + text + "\"}");
    english += comma + ("\"" + source + "\": {\"v\": \"" + source + "\"}");
    ts += "<message><source>" + source + "</source><translation>" + text + "</translation></message>\n";
    if (i % kStep == 0 && i / kStep >= 1 && i / kStep <= kEditedLabels) {
      text = "Andere Fassung von Text " + QByteArray::number(i);
    }
    changed += "<message><source>" + source + "</source><translation>" + text + "</translation></message>\n";
  }
  german += "}}";
  english += "}}";
  ts += "</context>\n</TS>\n";
  changed += "</context>\n</TS>\n";
  const QString bundle = dir + "/Bench.app", texts = dir + "/project/translations";
  const QByteArray app = R"({"_id": "bench", "apiSecret": "bench-secret-0123456789", "__v": 1, "baseLanguage": "en"})";
  const QByteArray project = R"({"appId": "bench", "apiSecret": "bench-secret-0123456789", "baseLanguage": "en", "version": 1})";
  if (!QDir().mkpath(bundle) || !QDir().mkpath(texts + "/de") || !QDir().mkpath(texts + "/en") ||
      !write(dir + "/app.json", app) || !write(dir + "/project/project.json", project) ||
      !write(texts + "/de/main.json", german) || !write(texts + "/en/main.json", english) ||
      !write(dir + "/bench_de.ts", ts) || !write(dir + "/bench_de_changed.ts", changed)) {
    return false;
  }
  return QProcess::execute(TOLVANA_CLI_BINARY, {"pack", "--app-file", dir + "/app.json", "--strings",
                                                "de=" + texts + "/de/main.json", "--strings", "en=" + texts + "/en/main.json",
                                                "-o", bundle + "/tolvana_settings.tolvana"}) == 0 &&
         QProcess::execute(TOLVANA_LRELEASE, {"-silent", dir + "/bench_de.ts", "-qm", dir + "/bench_de.qm"}) == 0 &&
         QProcess::execute(TOLVANA_LRELEASE, {"-silent", dir + "/bench_de_changed.ts", "-qm", dir + "/bench_de_changed.qm"}) == 0;
}

// The translation server on the project, and the app's Info.plist naming it; false when it
// did not start.
bool startServer(const QString& dir) {
  setup->server.setProcessChannelMode(QProcess::MergedChannels);
  setup->server.start(TOLVANA_CLI_BINARY, {"serve", "--project", dir + "/project", "--port", "0"});
  while (setup->serverUrl.empty() && setup->server.waitForReadyRead(10000)) {
    for (const QString& line : QString::fromUtf8(setup->server.readAll()).split('\n')) {
      if (line.startsWith("listening on ")) setup->serverUrl = line.mid(13).trimmed().toStdString();
    }
  }
  QFile token(dir + "/project/.tolvana-server/admin-token");
  if (setup->serverUrl.empty() || !token.open(QIODevice::ReadOnly)) return false;
  setup->adminToken = token.readAll().trimmed().toStdString();
  const QByteArray plist = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
                           "<key>CFBundleIdentifier</key><string>io.tolvana.bench.qt</string>"
                           "<key>CFBundleDevelopmentRegion</key><string>en</string>"
                           "<key>TolvanaHost</key><string>" + QByteArray::fromStdString(setup->serverUrl) + "</string>"
                           "<key>TolvanaInitialUpdate</key><false/><key>TolvanaLogLevel</key><string>w</string>"
                           "</dict></plist>\n";
  return write(dir + "/Bench.app/Info.plist", plist);
}

bool spinUntil(const std::function<bool()>& done) {
  QElapsedTimer timer;
  timer.start();
  while (!done() && timer.elapsed() < 30000) QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
  return done();
}

// One call of the server's admin API; true once it answered 200.
bool admin(const char* method, const std::string& path, std::string body) {
  HttpRequest request{.method = method,
                      .url = setup->serverUrl + "/admin/v1/projects/bench" + path,
                      .headers = {{"Content-Type", "application/json"}, {"Authorization", "Bearer " + setup->adminToken}},
                      .body = std::move(body),
                      .requestTimeout = 10,
                      .resourceTimeout = 10};
  auto status = std::make_shared<std::atomic<int>>(-1);
  Platform::Current().http().send(std::move(request), [status](HttpResponse response) { *status = response.status; });
  return spinUntil([&] { return *status >= 0; }) && *status == 200;
}

// The labels (never the first, which the checks of the other benchmarks read) and the other
// keys a round of edits gives new German texts.
int editedLabel(int round, int k) { return 1 + (round * kEditedLabels + k) % (kLabels - 1); }
int editedOther(int round, int k) { return editedLabel(round, k) * kStep + 1; }
std::string editedText(int round, int entry) { return "Neue Fassung " + std::to_string(round) + " von Text " + std::to_string(entry); }

// A translator edits a few texts and publishes them; then the app updates, as it does when
// the server has something new.
bool publishAndUpdate(int round) {
  std::string edits;
  for (int k = 0; k < kEditedLabels + kEditedOthers; ++k) {
    int entry = k < kEditedLabels ? editedLabel(round, k) * kStep : editedOther(round, k - kEditedLabels);
    edits += std::string(k ? "," : "") + R"({"language": "de", "group": "main", "key": ")" + key(entry) +
             R"(", "draft": ")" + editedText(round, entry) + "\"}";
  }
  if (!admin("PUT", "/entries", R"({"entries": [)" + edits + "]}") ||
      !admin("POST", "/publish", R"({"language": "de", "group": "main"})")) {
    return false;
  }
  auto updated = std::make_shared<std::atomic<int>>(-1);
  Tolvana::updateWithCompletionHandler([updated](bool success) { *updated = success ? 1 : 0; });
  return spinUntil([&] { return *updated >= 0; }) && *updated == 1;
}

// Exactly one of the two translators answers: Tolvana's keeps itself first in the list, so it
// stops watching the list while Qt's is measured.
void answerWith(QTranslator* translator) {
  if (translator != setup->tolvana) qApp->removeEventFilter(setup->tolvana);
  for (QTranslator* t : {setup->tolvana, setup->qt.get(), setup->swapped.get()}) {
    if (t != translator) QCoreApplication::removeTranslator(t);
  }
  QCoreApplication::installTranslator(translator);
  if (translator == setup->tolvana) qApp->installEventFilter(setup->tolvana);
}

QString translated(const std::string& source) { return QCoreApplication::translate(kContext, source.c_str()); }

// Looks up the keys in an order no cache line predicts, and checks the first answer.
void translate(benchmark::State& state, QTranslator* translator, const std::vector<std::string>& keys,
               const QString& expectedFirst) {
  answerWith(translator);
  if (translated(keys[0]) != expectedFirst) return state.SkipWithError(qPrintable("wrong answer: " + translated(keys[0])));
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(translated(keys[i]));
    i = (i + 7919) % keys.size();
  }
}

void QtHit_baselineQTranslator(benchmark::State& state) {
  translate(state, setup->qt.get(), setup->keys, translation(0));
}
void QtHit_tolvana(benchmark::State& state) { translate(state, setup->tolvana, setup->keys, translation(0)); }
void QtMiss_baselineQTranslator(benchmark::State& state) {
  translate(state, setup->qt.get(), setup->misses, QString::fromStdString(setup->misses[0]));
}
void QtMiss_tolvana(benchmark::State& state) {
  translate(state, setup->tolvana, setup->misses, QString::fromStdString(setup->misses[0]));
}
BENCHMARK(QtHit_baselineQTranslator);
BENCHMARK(QtHit_tolvana);
BENCHMARK(QtMiss_baselineQTranslator);
BENCHMARK(QtMiss_tolvana);

// A window that sets its labels' texts again on every LanguageChange, as Qt's examples do,
// unless told to let one pass.
class Window final : public QWidget {
 public:
  Window() {
    auto* layout = new QVBoxLayout(this);
    for (int i = 0; i < kLabels; ++i) layout->addWidget(labels_.emplace_back(new QLabel(this)));
    retranslate();
  }
  QString text(int label) const { return labels_[std::size_t(label)]->text(); }
  bool deaf = false;
  int passed = 0;

 protected:
  void changeEvent(QEvent* event) override {
    if (event->type() == QEvent::LanguageChange) deaf ? void(++passed) : retranslate();
    QWidget::changeEvent(event);
  }

 private:
  void retranslate() {
    for (int i = 0; i < kLabels; ++i) labels_[std::size_t(i)]->setText(translated(key(i * kStep)));
  }
  std::vector<QLabel*> labels_;
};

// Not inlined, so that a profile can be limited to it (valgrind --toggle-collect).
[[gnu::noinline]] // Not inlined, so that a profile can be limited to it (valgrind --toggle-collect).
[[gnu::noinline]] void announceChange() {
  QEvent change(QEvent::LanguageChange);
  QCoreApplication::sendEvent(qApp, &change);
  QCoreApplication::processEvents();
}

// The untimed part of a round: an update that brings new texts for 5 of the window's labels
// and 5 other keys (the server's edits, the request, the parse into the store), with the
// window letting the adapter's own announcement of it pass and the events the update left
// queued run. Both rows of the target follow it, so both meet the caches an update leaves.
bool updateUntimed(benchmark::State& state, Window& window) {
  state.PauseTiming();
  window.deaf = true;
  const int passed = window.passed;
  const bool updated = publishAndUpdate(++setup->round) && spinUntil([&] { return window.passed > passed; });
  for (int i = 0; i < 3; ++i) QCoreApplication::processEvents();
  window.deaf = false;
  state.ResumeTiming();
  return updated;
}

// The window's first retranslation after an update: the timed announcement is the one that
// retranslates. An update takes longer than a kept answer lasts more often than not, so some
// rounds find every answer lapsed, as a window would whose texts were last asked for over a
// second before.
void Retranslate_tolvana(benchmark::State& state) {
  answerWith(setup->tolvana);
  Window window;
  for (auto _ : state) {
    if (!updateUntimed(state, window)) return state.SkipWithError("the update failed");
    announceChange();
  }
  for (int k = 0; k < kEditedLabels; ++k) {
    const int label = editedLabel(setup->round, k);
    if (window.text(label) != QString::fromStdString(editedText(setup->round, label * kStep))) {
      state.SkipWithError(qPrintable("the window shows an old text: " + window.text(label)));
    }
  }
}

// Not a target: the worst case, where the translator's every kept answer is forgotten (show-ID
// mode switched on and off, as a language switch does), so every label is looked up afresh.
void Retranslate_tolvanaEveryTextAgain(benchmark::State& state) {
  answerWith(setup->tolvana);
  Window window;
  const QString first = window.text(0);
  for (auto _ : state) {
    Tolvana::setShowIdModeEnabled(true);
    Tolvana::setShowIdModeEnabled(false);
    announceChange();
  }
  if (window.text(0) != first || first != translation(0)) state.SkipWithError("the window shows other texts");
}

// Qt's way to new texts: one translator out, another in (which shows 5 labels' texts changed);
// the change is announced once. After the same untimed update as Tolvana's row, or (not a
// target) round after round with nothing in between, every cache warm.
void swapQTranslator(benchmark::State& state, bool afterUpdate) {
  answerWith(setup->qt.get());
  Window window;
  QTranslator* shown = setup->qt.get();
  QTranslator* next = setup->swapped.get();
  for (auto _ : state) {
    if (afterUpdate && !updateUntimed(state, window)) return state.SkipWithError("the update failed");
    QCoreApplication::removeTranslator(shown);
    QCoreApplication::installTranslator(next);
    QCoreApplication::processEvents();
    std::swap(shown, next);
  }
  const bool changedShown = shown == setup->swapped.get();
  if (window.text(0) != translation(0) || (window.text(1) != translation(kStep)) == !changedShown) {
    state.SkipWithError("the window shows other texts");
  }
}
void Retranslate_baselineSwapQTranslator(benchmark::State& state) { swapQTranslator(state, true); }
void Retranslate_baselineSwapQTranslatorWarm(benchmark::State& state) { swapQTranslator(state, false); }
// A round's update takes tens of milliseconds untimed; a fixed count keeps the run short.
BENCHMARK(Retranslate_tolvana)->Unit(benchmark::kMicrosecond)->Iterations(40);
BENCHMARK(Retranslate_tolvanaEveryTextAgain)->Unit(benchmark::kMicrosecond);
BENCHMARK(Retranslate_baselineSwapQTranslator)->Unit(benchmark::kMicrosecond)->Iterations(40);
BENCHMARK(Retranslate_baselineSwapQTranslatorWarm)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace tolvana::bench

int main(int argc, char** argv) {
  using namespace tolvana::bench;
  Setup files;
  setup = &files;
  if (!files.dir.isValid() || !prepareFiles(files.dir.path()) || !startServer(files.dir.path())) {
    std::fprintf(stderr, "qt_bench: the app's files or the translation server could not be made\n");
    return 1;
  }
  for (int i = 0; i < kEntries; ++i) files.keys.push_back(key(i));
  for (int i = 0; i < kEntries; ++i) files.misses.push_back("No text number " + std::to_string(i) + " of the benchmark");
  // The app, on a German device, before the application object starts the adapter.
  const QByteArray dir = files.dir.path().toUtf8();
  qputenv("TOLVANA_MAIN_BUNDLE", dir + "/Bench.app");
  qputenv("XDG_DATA_HOME", dir + "/data");
  qputenv("XDG_CONFIG_HOME", dir + "/config");
  qputenv("LANGUAGE", "de");
  if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication app(argc, argv);
  for (QTranslator* translator : app.findChildren<QTranslator*>()) files.tolvana = translator;
  files.qt = std::make_unique<QTranslator>();
  files.swapped = std::make_unique<QTranslator>();
  if (!files.tolvana || !files.qt->load(files.dir.path() + "/bench_de.qm") ||
      !files.swapped->load(files.dir.path() + "/bench_de_changed.qm")) {
    std::fprintf(stderr, "qt_bench: a translator is missing\n");
    return 1;
  }
  // The engine starts (unpacking the archive, reading each store's index, the base language's
  // only at the first miss) before any timing.
  translated(files.keys[0]);
  translated(files.misses[0]);
  addTarget({"Qt tr() hit, 10,000 entries", "QtHit_tolvana", "QtHit_baselineQTranslator", 1, true});
  addTarget({"Qt tr() miss to the source text", "QtMiss_tolvana", "QtMiss_baselineQTranslator", 1, true});
  addTarget({"retranslating 500 labels after an update", "Retranslate_tolvana/iterations:40",
             "Retranslate_baselineSwapQTranslator/iterations:40", 1.5, true});
  int status = runWithRatios(argc, argv);
  answerWith(files.tolvana);
  files.server.kill();
  files.server.waitForFinished();
  return status;
}
