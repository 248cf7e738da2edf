#include "sync/LiveNotice.h"

#include <algorithm>

#include "support/Json.h"
#include "support/SafeName.h"
#include "support/TLLog.h"

namespace tolvana {

namespace {

void addOnce(std::vector<std::string>& list, const std::string& item) {
  if (std::find(list.begin(), list.end(), item) == list.end()) list.push_back(item);
}

std::optional<LiveNotice> refused(const char* why) {
  logWarning("Live preview: the server's notice is ignored: %@", why);
  return std::nullopt;
}

}  // namespace

std::optional<LiveNotice> LiveNotice::parse(std::string_view body) {
  auto value = json::parse(body);
  if (!value || !value->isDictionary()) return refused("no JSON object");
  const Value* cursor = value->find("cursor");
  if (!cursor || !cursor->isString() || cursor->asString().empty() || cursor->asString().size() > kMaxCursor) {
    return refused("no usable cursor");
  }
  LiveNotice notice{cursor->asString()};
  if (const Value* resync = value->find("resync")) {
    if (!resync->isBoolean()) return refused("\"resync\" is no Boolean");
    notice.resync = resync->asBoolean();
  }
  const Value* changes = value->find("changes");
  if (!changes) return notice;
  if (!changes->isArray()) return refused("\"changes\" is no array");
  if (changes->asArray().size() > kMaxChanges) return refused("too many changes");
  for (const Value& change : changes->asArray()) {
    const Value* language = change.find("language");
    const Value* group = change.find("group");
    if (!language || !language->isString() || !SafeName::isLanguageCode(language->asString())) {
      return refused("a change names no language code");
    }
    if (!group || !group->isString() || !SafeName::isGroupName(group->asString())) {
      return refused("a change names no group");
    }
    addOnce(notice.languages, language->asString());
    addOnce(notice.groups, group->asString());
  }
  return notice;
}

}  // namespace tolvana
