// Error lines from the ports themselves. Ports sit below the logger (the logger reads its
// threshold through the Bundle port), so they write straight to the log sink at error level,
// without threshold or tag look-ups that could re-enter a port that is still loading.
#pragma once

#include <string_view>

namespace tolvana {

// Writes "E/Tolvana﹕ <message>" through the current platform's log sink (standard error
// while no platform exists yet).
void platformLogError(std::string_view message);

// The same, as a boundary's failure log (support/Boundary.h): "<where> failed: <what>", or
// "<where> failed." when the failure said nothing.
void platformFailureLine(std::string_view where, const char* what);

// True on the thread that is building the default platform, where asking for the current
// platform would wait for itself.
bool buildingDefaultPlatform();

}  // namespace tolvana
