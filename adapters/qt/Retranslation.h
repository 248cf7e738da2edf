// Retranslation: what follows a change of the texts look-ups give (an update that wrote
// texts, a language switch, show-ID mode): a LanguageChange to the application object, on
// which widgets and, with tolvana-qt-quick, QML scenes retranslate; then the API object's
// textsChanged() and whatever of its properties changed with it.
//
// Thread contract: GUI thread only.
#pragma once

namespace tolvana::qt {

class Retranslation {
 public:
  // Without force, only when an update wrote texts since the last announcement, so that the
  // two who learn of an update (the network port, the API object's completion) retranslate
  // once between them.
  static void announce(bool force);
};

}  // namespace tolvana::qt
