// The two page scripts (src/localization/js/), compiled into the library from their files.
#pragma once

#include <string_view>

namespace tolvana {

// For web views: talks to the app through the "TolvanaNative" message handler.
std::string_view modernPageScript();
// For script contexts with native "TolvanaNative" and "TLLog" objects.
std::string_view legacyPageScript();

}  // namespace tolvana
