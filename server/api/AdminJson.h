// AdminJson: the admin API's JSON forms of the server's records, and the checks of what an
// admin script sends, which is untrusted like everything from outside: a name that could not
// be a file name or a URL segment, or a text that is not UTF-8, is refused.
#pragma once

#include <optional>
#include <string>

#include "storage/Records.h"
#include "tolvana/Value.h"

namespace tolvana::server {

Value toJson(const Project& project);
Value toJson(const Group& group);
Value toJson(const Entry& entry);
Value toJson(const MissingString& missing);
// The string positions and the device fields come back as the app sent them.
Value toJson(const Screenshot& shot, const std::string& imagePath);
Value toJson(const Issue& issue);
Value toJson(const DeviceProfile& device);

// Applies the fields of body to project (all required when creating); what is wrong, or
// nothing.
std::optional<std::string> readProject(const Value& body, bool creating, Project* project);
// One edit {language, group, key, plural?, draft}: a key with a plural suffix ("items[one]")
// is split when no "plural" is given. What is wrong, or nothing.
std::optional<std::string> readEdit(const Value& item, Entry* edit);

}  // namespace tolvana::server
