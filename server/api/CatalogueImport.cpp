#include "api/CatalogueImport.h"

#include <algorithm>
#include <map>

#include "api/InputRules.h"
#include "storage/StorageError.h"

namespace tolvana::server {

namespace {

const std::optional<std::string>& currentText(const Entry& entry) { return entry.draft ? entry.draft : entry.value; }

void requireLanguage(Storage& storage, const std::string& projectId, const std::string& language) {
  auto project = storage.project(projectId);
  if (!project) throw StorageError(StorageError::Kind::notFound, "no project " + projectId);
  if (std::find(project->languages.begin(), project->languages.end(), language) == project->languages.end()) {
    throw CatalogueError("the project has no language " + language + "; add it to the project first");
  }
}

// A key as a message can quote it: control characters (a NUL would end the message) shown as
// "?", and a long key cut short on a character boundary.
std::string shown(std::string_view key) {
  std::string out;
  for (char c : key.substr(0, 80)) out += static_cast<unsigned char>(c) < 0x20 ? '?' : c;
  while (!out.empty() && (static_cast<unsigned char>(out.back()) & 0xC0) == 0x80) out.pop_back();
  if (!out.empty() && static_cast<unsigned char>(out.back()) >= 0xC0) out.pop_back();
  return "\"" + out + (key.size() > 80 ? "…\"" : "\"");
}

}  // namespace

ImportPlan planImport(Storage& storage, const std::string& projectId, const Catalogue& catalogue) {
  requireLanguage(storage, projectId, catalogue.language);
  auto project = storage.project(projectId);
  std::map<std::string, Entry> held;
  for (Entry& entry : storage.entries(projectId, {.language = catalogue.language})) held[entry.appKey()] = std::move(entry);
  // A new key joins the group the base language keeps it in.
  std::map<std::string, std::string> baseGroups;
  for (const Entry& entry : storage.entries(projectId, {.language = project->baseLanguage})) baseGroups[entry.key] = entry.group;

  ImportPlan plan{catalogue.language, {}, {}, 0};
  std::map<std::string, bool> seen;
  for (const CatalogueText& text : catalogue.texts) {
    std::string appKey = text.plural.empty() ? text.key : text.key + "[" + text.plural + "]";
    if (!InputRules::isKey(appKey)) throw CatalogueError(shown(appKey) + " cannot be a key");
    if (!InputRules::isText(text.text)) throw CatalogueError("the text of " + shown(appKey) + " is too long or holds a NUL");
    if (!seen.emplace(appKey, true).second) throw CatalogueError(shown(appKey) + " is in the file twice");
    auto at = held.find(appKey);
    if (at == held.end()) {
      auto group = baseGroups.find(text.key);
      plan.added.push_back({group == baseGroups.end() ? "main" : group->second, text.key, text.plural, std::nullopt, text.text});
    } else if (currentText(at->second) != text.text) {
      plan.changed.push_back({at->second.group, text.key, text.plural, currentText(at->second), text.text});
    } else {
      ++plan.unchanged;
    }
  }
  return plan;
}

void applyImport(Storage& storage, const std::string& projectId, const ImportPlan& plan) {
  std::vector<Entry> edits;
  for (const auto* changes : {&plan.added, &plan.changed}) {
    for (const ImportChange& c : *changes) edits.push_back({plan.language, c.group, c.key, c.plural, std::nullopt, c.after, 0});
  }
  if (!edits.empty()) storage.editDrafts(projectId, edits);
}

Catalogue exportCatalogue(Storage& storage, const std::string& projectId, const std::string& language) {
  requireLanguage(storage, projectId, language);
  Catalogue out{language, {}, {}};
  for (const Entry& entry : storage.entries(projectId, {.language = language})) {
    if (const auto& text = currentText(entry)) out.texts.push_back({entry.key, entry.plural, *text, ""});
  }
  auto project = storage.project(projectId);
  out.sourceLanguage = project->baseLanguage;
  for (const Entry& entry : storage.entries(projectId, {.language = project->baseLanguage})) {
    if (const auto& text = currentText(entry)) out.sourceTexts[entry.appKey()] = *text;
  }
  return out;
}

}  // namespace tolvana::server
