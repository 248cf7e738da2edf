// BundleHook: a toolkit's string look-up routed to the engine, with the bundle rules of the
// platform's bundle look-up mapped onto translation contexts.
//
// A toolkit knows no bundles, only contexts; a library's texts are told apart by a context
// that starts with the library's name as a namespace ("Payments::CheckoutView"). Such a
// context whose first component names a framework bundle of the app looks up in that
// framework; every other context is the main bundle's. The main bundle is always served; a
// framework only when "TolvanaSearchIDsInAllBundles" holds (read once per process) or when
// "TolvanaAdditionalFrameworks" lists it. The table is always the default one.
//
// Thread contract: every function may be called from any thread.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "core/TLInternal.h"

namespace tolvana {

class BundleHook {
 public:
  // The bundle a context looks up in, or null when the engine does not serve it.
  static std::shared_ptr<const Bundle> servedBundle(std::string_view context);
  // Whether the engine serves a bundle other than the main one.
  static bool servesOtherBundle(const Bundle& bundle);
  // Nothing when the bundle is not served or only the default text or the key answered.
  static std::optional<TLLocalizedString> lookUp(std::string_view key, std::optional<std::string_view> value,
                                                 std::string_view context);
  static std::optional<TLLocalizedString> lookUpPlural(std::string_view key, std::optional<std::string_view> value,
                                                       std::string_view context, std::uint64_t quantity);
};

}  // namespace tolvana
