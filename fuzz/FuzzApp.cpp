#include "fuzz/FuzzApp.h"

namespace tolvana::fuzz {

FuzzApp::FuzzApp() {
  app.appLanguage("en", {{"hello", "Hello", ""}, {"items[one]", "%{n} item", ""}});
  app.appLanguage("de", {{"hello", "Hallo", "Hallo?"}});
  app.stores["fr"] = testing::StoreContents{{{"hello", "Bonjour", ""}}, {{"main", 1}}};
  app.bundle.strings("en", "Localizable", {{"bundle.only", "From the bundle"}});
  app.install();
  engine = TLInternal::sharedInstance();
  sandbox.allow(app.dataDirectory());
  sandbox.snapshot();
}

void FuzzApp::endInput() {
  sandbox.checkNothingElseChanged();
  app.platform.dispatch->drain();
  app.platform.log->clear();
}

}  // namespace tolvana::fuzz
