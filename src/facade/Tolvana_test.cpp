#include "tolvana/Tolvana.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <chrono>
#include <system_error>

#include "config/ProcessState.h"
#include "config/TLDeviceUtil.h"
#include "core/TLInternal.h"
#include "tests/support/AppFixture.h"
#include "tolvana/tolvana.h"

namespace tolvana {
namespace {

using testing::AppFixture;
using testing::installPorts;

struct Provider : TolvanaScreenshotInterface {
  void getStringPositions(std::function<void(std::string)> completion) override { completion("{}"); }
};

// Implements the method but does not declare the interface.
struct LookAlike {
  virtual ~LookAlike() = default;
  void getStringPositions(std::function<void(std::string)>) {}
};

TEST(Tolvana, LookupsThroughTheFacade) {
  AppFixture app;
  app.platform.locale->setPreferredLanguages({"de"});
  app.appLanguage("de", {{"greet", "Hallo %{name}", ""}, {"apples[one]", "Ein Apfel", ""}, {"apples[other]", "%{n} Äpfel", ""}});
  app.install();
  EXPECT_EQ(Tolvana::localizedStringForKey("unknown.everywhere"), "unknown.everywhere");
  EXPECT_EQ(Tolvana::localizedStringForKey("unknown", "Default"), "Default");
  EXPECT_EQ(Tolvana::localizedStringForKey("greet", Tolvana::Arguments{{"name", "Ann"}}), "Hallo Ann");
  EXPECT_EQ(Tolvana::localizedStringForKey("apples", {{"n", "4"}}, Tolvana::pluralRuleForQuantity(4)), "4 Äpfel");
  EXPECT_EQ(Tolvana::localizedStringForKey("apples", {}, Tolvana::pluralRuleForQuantity(1)), "Ein Apfel");
  EXPECT_EQ(Tolvana::localizedStringsForLanguage("de").size(), 3u);
  EXPECT_TRUE(Tolvana::enabled());

  Tolvana::setShowIdModeEnabled(true);
  EXPECT_EQ(Tolvana::localizedStringForKey("greet"), "greet");
  Tolvana::setShowIdModeEnabled(false);

  Tolvana::setDraftModelEnabled(false);
  EXPECT_FALSE(ProcessState::get().draftModeEnabled);
  Tolvana::setDraftModeEnabled(true);
  EXPECT_TRUE(ProcessState::get().draftModeEnabled);
}

// A text asked for again is answered from the thread's recent answers before the engine is
// reached: a switch, another process's write (within a second), new device languages and a new
// engine must each still show at the next look-up, and a second without any keeps them all.
TEST(Tolvana, RepeatedLookupsSeeEveryChange) {
  auto repeated = [](std::string_view key) {
    Tolvana::localizedStringForKey(key);
    Tolvana::localizedStringForKey(key);
    return Tolvana::localizedStringForKey(key);
  };
  {
    AppFixture app;
    app.platform.locale->setPreferredLanguages({"de"});
    app.appLanguage("de", {{"greet", "Hallo", ""}, {"bye", "Tschüss", ""}});
    app.appLanguage("fr", {{"greet", "Salut", ""}});
    app.install();
    EXPECT_EQ(repeated("greet"), "Hallo");
    // Kept answers lapse together, and one look-up that finds the stores unchanged renews all.
    EXPECT_EQ(repeated("bye"), "Tschüss");
    app.platform.clock->advance(std::chrono::seconds(1));
    EXPECT_EQ(TLInternal::recentText("bye", std::nullopt), nullptr);
    EXPECT_EQ(Tolvana::localizedStringForKey("greet"), "Hallo");
    const std::string* renewed = TLInternal::recentText("bye", std::nullopt);
    ASSERT_NE(renewed, nullptr);
    EXPECT_EQ(*renewed, "Tschüss");
    Tolvana::setShowIdModeEnabled(true);
    EXPECT_EQ(Tolvana::localizedStringForKey("greet"), "greet");
    Tolvana::setShowIdModeEnabled(false);
    Tolvana::setEnabled(false);
    EXPECT_EQ(Tolvana::localizedStringForKey("greet"), "greet");
    Tolvana::setEnabled(true);
    EXPECT_EQ(repeated("greet"), "Hallo");

    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(app.storePath("de").c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "UPDATE entries SET value='Servus' WHERE key='greet'", nullptr, nullptr, nullptr),
              SQLITE_OK);
    sqlite3_close(other);
    app.platform.clock->advance(std::chrono::seconds(1));
    EXPECT_EQ(Tolvana::localizedStringForKey("greet"), "Servus");

    app.platform.locale->setPreferredLanguages({"fr"});
    TLDeviceUtil::forgetDeviceLanguages();  // as the locale's change notice does
    EXPECT_EQ(Tolvana::localizedStringForKey("greet"), "Salut");
  }
  AppFixture next;
  next.appLanguage("en", {{"greet", "Hello", ""}});
  next.install();
  EXPECT_EQ(Tolvana::localizedStringForKey("greet"), "Hello");
}

// Whether the engine runs or not (no archive, a corrupt one), every look-up form falls back
// alike: the bundle's table, then the default with its arguments filled in, then the key.
TEST(Tolvana, EveryLookupFormKeepsItsFallbacksWithTheEngineOff) {
  using Args = Tolvana::Arguments;
  const Args ann{{"name", "Ann"}}, four{{"n", "4"}};
  const std::int64_t other = Tolvana::pluralRuleForQuantity(4);
  struct Case {
    std::function<std::string()> lookup;
    std::string expected;
  };
  const std::vector<Case> cases = {
      {[] { return Tolvana::localizedStringForKey("greet"); }, "Hello %{name}!"},
      {[] { return Tolvana::localizedStringForKey("nowhere", "Default"); }, "Default"},
      {[&] { return Tolvana::localizedStringForKey("greet", ann); }, "Hello Ann!"},
      {[&] { return Tolvana::localizedStringForKey("nowhere", "Hi %{name}", ann); }, "Hi Ann"},
      {[&] { return Tolvana::localizedStringForKey("nowhere", ann); }, "nowhere"},
      {[&] { return Tolvana::localizedStringForKey("apples", four, other); }, "4 apples"},
      {[&] { return Tolvana::localizedStringForKey("pears", "%{n} pears", four, other); }, "4 pears"},
      {[&] { return Tolvana::localizedStringForKey("pears", four, other); }, "pears[other]"},
  };
  for (std::string archive : {"shipped", "none", "corrupt"}) {
    AppFixture app;
    app.bundle.strings("en", "Localizable", {{"greet", "Hello %{name}!"}, {"apples[other]", "%{n} apples"}});
    if (archive != "shipped") app.archiveName.clear();
    if (archive == "corrupt") app.bundle.resource("tolvana_settings.tolvana", std::string(700, '\xd4'));
    app.install();
    for (std::size_t i = 0; i < cases.size(); ++i) {
      SCOPED_TRACE(archive + " archive, case " + std::to_string(i));
      EXPECT_EQ(cases[i].lookup(), cases[i].expected);
    }
    EXPECT_EQ(TLInternal::sharedInstance()->database() != nullptr, archive == "shipped");
  }
}

TEST(Tolvana, ScreenshotProviderMustConform) {
  AppFixture app;
  app.install();
  auto provider = std::make_shared<Provider>();
  Tolvana::setScreenshotInterface(provider);
  EXPECT_EQ(TLInternal::sharedInstance()->screenshotInterface(), provider);

  Tolvana::setScreenshotInterface(std::make_shared<LookAlike>());
  Tolvana::setScreenshotInterface(std::shared_ptr<Provider>());
  EXPECT_EQ(app.platform.log->count("The screenshotInterface needs to conform to the TolvanaScreenshotInterface protocol!"),
            2u);
  EXPECT_EQ(TLInternal::sharedInstance()->screenshotInterface(), provider);

  provider.reset();  // held weakly
  EXPECT_EQ(TLInternal::sharedInstance()->screenshotInterface(), nullptr);
}

// A toolkit's translator looks strings up as soon as its hook is in, which is inside start-up.
struct TranslatorUi final : Ui {
  std::vector<std::string> answers;
  void installLookupHooks() override { answers.push_back(Tolvana::localizedStringForKey("hooked", "Default text")); }
  void presentAlert(Alert) override {}
  void showOverlay(UiOverlay) override {}
  void focusOverlayControl(const std::string&) override {}
  void removeOverlay() override {}
  void addLongPressGesture(std::function<void()>) override {}
  void addSwipeGestures(std::function<void()>) override {}
  std::optional<UiView> rootWindowView() override { return std::nullopt; }
  UiScreen mainScreen() override { return {}; }
  std::string rootWindowPng() override { return ""; }
  std::optional<std::string> pasteboardString() override { return std::nullopt; }
  void setPasteboardString(const std::string&) override {}
};

TEST(Tolvana, LookupFromInsideStartUpIsAnsweredWithoutASecondEngine) {
  AppFixture app;
  app.bundle.strings("en", "Localizable", {{"hooked", "Bundle text"}});
  app.install();
  auto ui = std::make_shared<TranslatorUi>();
  installPorts([&](Platform::Ports& ports) { ports.ui = ui; });
  EXPECT_EQ(Tolvana::localizedStringForKey("hooked", "Default text"), "Bundle text");
  EXPECT_EQ(ui->answers, std::vector<std::string>{"Bundle text"});
  EXPECT_EQ(app.platform.log->count("Version: "), 1u);
}

// Throws where a real dispatch would fail to start a thread.
struct ExhaustedDispatch final : Dispatch {
  [[noreturn]] static void fail() { throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again)); }
  void mainAsync(Task) override { fail(); }
  void mainAfter(std::chrono::milliseconds, Task) override { fail(); }
  void globalAsync(Task) override { fail(); }
  std::shared_ptr<SerialQueue> makeSerialQueue(std::string) override { fail(); }
  bool isMainThread() const override { return false; }
};

TEST(Tolvana, FailuresInsideTheLibraryAreLoggedAndAnsweredWithTheFallback) {
  AppFixture app;
  app.platform.device->setBeingTraced(true);  // misses are collected, and queue their upload
  app.appLanguage("en", {{"known", "Known", ""}});
  app.install();
  installPorts([](Platform::Ports& ports) { ports.dispatch = std::make_shared<ExhaustedDispatch>(); });
  EXPECT_EQ(Tolvana::localizedStringForKey("missing.key", "Default text"), "Default text");
  EXPECT_EQ(app.platform.log->count("E/Tolvana"), 1u);
  installPorts([&](Platform::Ports& ports) { ports.dispatch = app.platform.dispatch; });
  Tolvana::localizedStringForKey("another.key", "Another text");
  EXPECT_EQ(app.platform.dispatch->pendingCount(), 1u);  // the upload is queued again
}

// A host's sink that fails on every line: the failure it reports is another one to keep in.
struct ThrowingSink final : LogSink {
  void writeLine(std::string_view) override { throw std::runtime_error("the sink is full"); }
};

TEST(Tolvana, ALogSinkThatThrowsStaysInsideTheCInterface) {
  AppFixture app;
  app.install();
  installPorts([](Platform::Ports& ports) { ports.logSink = std::make_shared<ThrowingSink>(); });
  EXPECT_NO_THROW({
    tolvana_string_free(tolvana_device_language());
    tolvana_string_free(tolvana_available_languages());
    tolvana_string_free(tolvana_localized_string("key"));
    EXPECT_EQ(tolvana_set_language("xx"), 0);
    tolvana_update(nullptr, nullptr);
  });
}

}  // namespace
}  // namespace tolvana
