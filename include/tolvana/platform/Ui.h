// Ui: the user-interface questions of the engine: alerts for now, windows later.
//
// Thread contract: methods are called on the main queue only (Dispatch::mainAsync); an
// implementation may rely on that. Action handlers are called on the main queue.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tolvana/Export.h"

namespace tolvana {

struct TOLVANA_EXPORT AlertTextField {
  std::string placeholder;
  std::string accessibilityIdentifier;
  bool secureTextEntry = false;
  std::string text;
};

struct TOLVANA_EXPORT AlertAction {
  std::string title;
  std::function<void()> handler;  // may be empty
};

struct TOLVANA_EXPORT Alert {
  std::string title;
  std::string message;
  std::vector<AlertTextField> textFields;
  std::vector<AlertAction> actions;
};

class TOLVANA_EXPORT Ui {
 public:
  virtual ~Ui() = default;
  // Presents the alert on the top screen of the app.
  virtual void presentAlert(Alert alert) = 0;
};

}  // namespace tolvana
