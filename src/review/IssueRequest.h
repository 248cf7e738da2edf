// IssueRequest: files an issue about the screen in front of the tester. The server answers
// with a tag, under which a screenshot of the screen at that moment is uploaded, so the
// issue and the screenshot are linked; the tester sees a short alert either way.
//
// Thread contract: called on the main queue; the answer's work and every alert run there.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "localization/EngineState.h"
#include "review/Screenshots.h"

namespace tolvana {

class IssueRequest {
 public:
  struct Context {
    EngineState& state;
    std::function<std::string(std::string_view)> generateHmac;
    std::function<void(const std::string& tag, Screenshots::Completion)> captureScreenshotNoChecks;
  };
  explicit IssueRequest(Context context);

  void requestJiraIssue(const std::string& summary, const std::string& description);

  // The request's JSON text.
  static std::string json(const std::string& summary, const std::string& description);

 private:
  Context context_;
};

}  // namespace tolvana
