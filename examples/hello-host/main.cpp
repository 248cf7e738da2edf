// A host that knows nothing of the library but its facade: it asks for texts by key and
// prints them. The engine finds the app bundle, its settings archive and the device
// language by itself.
//
//   TOLVANA_MAIN_BUNDLE=/path/to/My.app hello-host welcome.title [more keys…]
#include <cstdio>

#include <tolvana/Tolvana.h>

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) std::printf("%s\n", tolvana::Tolvana::localizedStringForKey(argv[i]).c_str());
  return 0;
}
