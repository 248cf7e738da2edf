// UpdateRequest: what an update request asks and brings, read from its JSON text and checked
// as untrusted input: the versions the app holds, whether it wants drafts, the strings it
// missed and its device profile.
#pragma once

#include <httplib.h>

#include <optional>
#include <string>
#include <vector>

#include "api/DeviceProfiles.h"
#include "api/ProjectSnapshot.h"
#include "storage/Records.h"
#include "tolvana/Value.h"

namespace tolvana::server {

struct UpdateRequest {
  RequestedVersions requested{};
  bool drafts = false;
  std::vector<MissingString> missing{};
  std::size_t missingRefused = 0;  // entries whose key or text had no acceptable form
  std::string device{};  // the device's vendor id, or a digest of its profile
  ProfileFields profile{};

  // The request read from its body (or params) and, for a cacheable GET, the profile headers;
  // what is wrong with its form otherwise.
  static std::optional<std::string> read(const Value& body, const httplib::Request& request, Seconds now,
                                         UpdateRequest* out);
  // A text naming exactly the requested versions and drafts, for the answer cache.
  std::string answerKey() const;
  // The device and its profile from a cacheable request's headers alone.
  static void readProfile(const Value& body, const httplib::Request& request, UpdateRequest* out);
};

}  // namespace tolvana::server
