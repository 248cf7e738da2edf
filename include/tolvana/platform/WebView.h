// WebView: a web view as the page bridge meets it. Pages talk to the app by posting message
// bodies to a named handler; the app answers by evaluating script in the page.
//
// Thread contract: every method is called on the main queue. A view that is gone by the time
// an answer arrives drops it; the bridge keeps the object alive, not the toolkit's view.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "tolvana/Export.h"
#include "tolvana/Value.h"

namespace tolvana {

class TOLVANA_EXPORT WebView {
 public:
  // Called on the main queue with each body a page posts (a dictionary, if the page is
  // well-behaved; anything else is possible).
  using MessageHandler = std::function<void(const Value& body)>;
  virtual ~WebView() = default;
  // Makes window.webkit.messageHandlers.<name>.postMessage(body) reach handler from every
  // page the view loads from now on.
  virtual void addScriptMessageHandler(std::string_view name, MessageHandler handler) = 0;
  // Runs source in every page the view loads from now on, once its document has been parsed,
  // in the main frame only.
  virtual void addUserScript(std::string_view source) = 0;
  // Runs script in the current page; its result is dropped.
  virtual void evaluateJavaScript(std::string_view script) = 0;
};

}  // namespace tolvana
