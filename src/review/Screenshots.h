// Screenshots: capture of the app's root window with the positions of its strings, and the
// upload of both under a screen tag; and the list of screen tags the server knows.
//
// Thread contract: the capture entry points run on the main queue (they read the window).
// Network answers arrive on the request's queue and complete on the main queue; early
// refusals complete on the caller's thread.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "localization/EngineState.h"
#include "review/StringCollector.h"
#include "tolvana/TolvanaScreenshotInterface.h"
#include "tolvana/platform/Http.h"

namespace tolvana {

class Screenshots {
 public:
  using Completion = std::function<void(bool)>;
  using TagsCompletion = std::function<void(std::optional<Value>)>;
  struct Context {
    EngineState& state;
    // Whose life bounds the provider's answer: the engine, or a test's.
    std::weak_ptr<const void> owner;
    const StringCollector& collector;
    std::function<bool(std::string_view)> entryExists;
    std::function<std::string(std::string_view)> generateHmac;
    std::function<std::shared_ptr<TolvanaScreenshotInterface>()> screenshotInterface;
  };
  explicit Screenshots(Context context);

  void loadScreenTags(TagsCompletion completion);
  // Refused outside draft mode.
  void captureScreenshotWithTag(const std::string& tag, const std::vector<std::string>& keys, bool useOcr,
                                Completion completion);
  // For the overlay and the issue flow: no draft-mode check.
  void captureScreenshotNoChecksWithTag(const std::string& tag, const std::vector<std::string>& keys, bool useOcr,
                                        Completion completion);
  // A window as a capture takes it: its views and its picture.
  struct Window {
    UiView view;
    std::string png;
  };
  void captureScreenshotOfView(const std::string& tag, const std::vector<std::string>& keys, Window window,
                               bool useOcr, Completion completion);
  // With positions a UI-test runner measured: a JSON object of key to "{{x, y}, {w, h}}" in
  // points. No other check is made.
  void captureScreenshotWithTagAndPositionFromDraftModeDialog(const std::string& tag, const std::string& idsAndPos,
                                                              Completion completion);
  void uploadScreenWithTag(const std::string& tag, std::vector<TLStringPosition> positions, std::string png,
                           bool useOcr, Completion completion);

  // Whether an answer counts: status 200 with a body; else it logs why not under the
  // failure's own line and answers false.
  static bool answered(const HttpResponse& response, const char* failureLine);

 private:
  Context context_;

  void addProvidedPositions(const std::string& text, std::vector<TLStringPosition>& positions) const;
  // The root window, else the key window; nullopt, with a warning of each look-up, when the
  // app shows neither.
  static std::optional<Window> windowToCapture();
  std::string uploadLanguage() const;
};

}  // namespace tolvana
