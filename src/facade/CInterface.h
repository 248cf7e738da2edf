// What the C interface's files share: strings and arrays from C to the facade's types and
// back, and the interface's promise for callbacks. Every C function runs its body through
// the boundary's guard (support/Boundary.h), so no C++ exception reaches the C host.
#pragma once

#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/Boundary.h"
#include "support/TLLog.h"
#include "tolvana/Tolvana.h"
#include "tolvana/tolvana.h"

namespace tolvana::c {

// A copy the C host owns and frees with tolvana_string_free(); NULL only without memory.
inline char* copyOut(std::string_view text) {
  auto* copy = static_cast<char*>(std::malloc(text.size() + 1));
  if (!copy) return nullptr;
  std::memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  return copy;
}

inline std::optional<std::string_view> optionalText(const char* text) {
  if (!text) return std::nullopt;
  return std::string_view(text);
}

// A look-up of a string: a NULL key is the host's mistake, answered with an empty string.
template <class Body>
char* lookup(const char* function, const char* key, Body&& body) {
  char* text = guarded(function, static_cast<char*>(nullptr), [&] {
    if (key) return copyOut(body(std::string_view(key)));
    logError("%@: the key is NULL", function);
    return copyOut("");
  });
  return text ? text : copyOut(key ? key : "");
}

// A string result that is empty when the engine fails.
template <class Body>
char* text(const char* function, Body&& body) {
  char* result = guarded(function, static_cast<char*>(nullptr), [&] { return copyOut(body()); });
  return result ? result : copyOut("");
}

// The non-NULL items of a C array; NULL or a count of 0 is none.
inline std::vector<std::string> list(const char* const* items, size_t count) {
  std::vector<std::string> result;
  if (!items) return result;
  for (size_t i = 0; i < count; ++i) {
    if (items[i]) result.emplace_back(items[i]);
  }
  return result;
}

// The interface's own promise for completions: exactly once, never inside the call that
// asked and never under the engine's lock, whether the engine calls back at once (it is off),
// later, or never (an answer that is no JSON object). Null when there is no callback.
Tolvana::CompletionHandler completion(void (*callback)(int, void*), void* userData);
// The same promise for an update that reports what it wrote.
Tolvana::ChangesHandler changesCompletion(tolvana_update_changes_callback callback, void* userData);

// What an update wrote, as the C host reads it: one row per group, pointing into changes,
// which must outlive the rows.
std::vector<tolvana_group_change> groupChanges(const TextChanges& changes);

}  // namespace tolvana::c
