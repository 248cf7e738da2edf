#include "api/AdminJson.h"

#include "api/InputRules.h"
#include "support/Json.h"

namespace tolvana::server {

namespace {

constexpr std::size_t kMaxSecretBytes = 256;

Value optionalText(const std::optional<std::string>& text) { return text ? Value(*text) : Value(nullptr); }

Value parsedOr(const std::string& text, Value fallback) { return json::parse(text).value_or(std::move(fallback)); }

Value::Array texts(const std::vector<std::string>& items) { return Value::Array(items.begin(), items.end()); }

std::optional<std::string> readTexts(const Value& array, bool (*valid)(std::string_view), const char* field,
                                     std::vector<std::string>* out) {
  if (!array.isArray()) return std::string("\"") + field + "\" is no array";
  out->clear();
  for (const Value& item : array.asArray()) {
    if (!item.isString() || !valid(item.asString())) return std::string("\"") + field + "\" holds an unusable name";
    out->push_back(item.asString());
  }
  return std::nullopt;
}

bool isTag(std::string_view tag) { return !tag.empty() && InputRules::isText(tag, InputRules::kMaxTagBytes); }

}  // namespace

Value toJson(const Project& p) {
  return Value::Dictionary{{"id", p.id},
                           {"apiSecret", p.apiSecret},
                           {"baseLanguage", p.baseLanguage},
                           {"languages", texts(p.languages)},
                           {"enterpriseHost", optionalText(p.enterpriseHost)},
                           {"collectMissingEnabled", p.collectMissing},
                           {"draftModeEnabled", p.draftMode},
                           {"screenTags", texts(p.screenTags)},
                           {"version", p.contentVersion},
                           {"revision", p.revision}};
}

Value toJson(const Group& g) {
  return Value::Dictionary{{"language", g.language}, {"group", g.name}, {"version", g.version}};
}

Value toJson(const Entry& e) {
  return Value::Dictionary{{"language", e.language}, {"group", e.group},          {"key", e.key},
                           {"plural", e.plural},     {"appKey", e.appKey()},       {"value", optionalText(e.value)},
                           {"draft", optionalText(e.draft)}, {"updatedAt", e.updatedAt}};
}

Value toJson(const MissingString& m) {
  return Value::Dictionary{{"language", m.language},   {"key", m.key},
                           {"value", m.value},         {"firstSeen", m.firstSeen},
                           {"lastSeen", m.lastSeen},   {"count", m.count},
                           {"appVersion", m.appVersion}, {"acceptedAt", m.acceptedAt ? Value(*m.acceptedAt) : Value()}};
}

Value toJson(const Screenshot& s, const std::string& imagePath) {
  return Value::Dictionary{{"id", s.id},
                           {"tag", s.tag},
                           {"bytes", s.bytes},
                           {"positions", parsedOr(s.positionsJson, Value::Array{})},
                           {"device", parsedOr(s.deviceJson, Value::Dictionary{})},
                           {"receivedAt", s.receivedAt},
                           {"image", imagePath}};
}

Value toJson(const Issue& i) {
  return Value::Dictionary{{"number", i.number},
                           {"tag", i.tag},
                           {"summary", i.summary},
                           {"description", i.description},
                           {"device", parsedOr(i.deviceJson, Value::Dictionary{})},
                           {"receivedAt", i.receivedAt}};
}

Value toJson(const DeviceProfile& d) {
  return Value::Dictionary{{"device", d.device},
                           {"profile", parsedOr(d.profileJson, Value::Dictionary{})},
                           {"firstSeen", d.firstSeen},
                           {"lastSeen", d.lastSeen},
                           {"requests", d.requests}};
}

std::optional<std::string> readProject(const Value& body, bool creating, Project* p) {
  if (!body.isDictionary()) return "the body is no JSON object";
  auto text = [&](const char* field, bool (*valid)(std::string_view), std::string* out) -> std::optional<std::string> {
    const Value* v = body.find(field);
    if (!v) return creating ? std::optional<std::string>(std::string("\"") + field + "\" is missing") : std::nullopt;
    if (!v->isString() || !valid(v->asString())) return std::string("\"") + field + "\" is unusable";
    *out = v->asString();
    return std::nullopt;
  };
  if (creating) {
    if (auto problem = text("id", InputRules::isProjectId, &p->id)) return problem;
  }
  auto secret = [](std::string_view s) { return !s.empty() && InputRules::isText(s, kMaxSecretBytes); };
  if (auto problem = text("apiSecret", secret, &p->apiSecret)) return problem;
  if (auto problem = text("baseLanguage", InputRules::isLanguageCode, &p->baseLanguage)) return problem;
  if (const Value* languages = body.find("languages")) {
    if (auto problem = readTexts(*languages, InputRules::isLanguageCode, "languages", &p->languages)) return problem;
  }
  if (const Value* tags = body.find("screenTags")) {
    if (auto problem = readTexts(*tags, isTag, "screenTags", &p->screenTags)) return problem;
  }
  if (const Value* host = body.find("enterpriseHost")) {
    if (host->isNull()) {
      p->enterpriseHost.reset();
    } else if (host->isString() && InputRules::isText(host->asString(), kMaxSecretBytes)) {
      p->enterpriseHost = host->asString();
    } else {
      return "\"enterpriseHost\" is unusable";
    }
  }
  for (auto [field, flag] : {std::pair{"collectMissingEnabled", &p->collectMissing}, {"draftModeEnabled", &p->draftMode}}) {
    if (const Value* v = body.find(field)) {
      if (!v->isBoolean()) return std::string("\"") + field + "\" is no boolean";
      *flag = v->asBoolean();
    }
  }
  if (const Value* version = body.find("version")) {
    if (!version->isInteger() || version->asInteger() < 1) return "\"version\" is no positive integer";
    p->contentVersion = version->asInteger();
  }
  return std::nullopt;
}

std::optional<std::string> readEdit(const Value& item, Entry* edit) {
  if (!item.isDictionary()) return "an edit is no JSON object";
  auto field = [&](const char* name) -> const Value* {
    const Value* v = item.find(name);
    return v && v->isString() ? v : nullptr;
  };
  const Value *language = field("language"), *group = field("group"), *key = field("key"), *plural = field("plural");
  if (!language || !InputRules::isLanguageCode(language->asString())) return "an edit has no usable \"language\"";
  if (!group || !InputRules::isGroupName(group->asString())) return "an edit has no usable \"group\"";
  if (!key || !InputRules::isKey(key->asString())) return "an edit has no usable \"key\"";
  edit->language = language->asString();
  edit->group = group->asString();
  if (plural) {
    edit->key = key->asString();
    edit->plural = plural->asString();
    if (Entry::splitAppKey("k[" + edit->plural + "]").second != edit->plural) return "\"plural\" is no plural rule word";
  } else {
    std::tie(edit->key, edit->plural) = Entry::splitAppKey(key->asString());
  }
  const Value* draft = item.find("draft");
  if (!draft || !(draft->isNull() || draft->isString())) return "an edit has no \"draft\" (a text, or null to withdraw)";
  if (draft->isString() && !InputRules::isText(draft->asString())) return "a draft is too long or not UTF-8";
  edit->draft = draft->isString() ? std::optional(draft->asString()) : std::nullopt;
  return std::nullopt;
}

}  // namespace tolvana::server
