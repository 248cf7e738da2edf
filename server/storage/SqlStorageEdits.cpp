// SqlStorage: the writes that change what apps receive.
#include <algorithm>
#include <set>
#include <tuple>

#include "storage/SqlStorage.h"
#include "storage/StorageError.h"

namespace tolvana::server {

namespace {

auto identity(const Entry& e) { return std::tie(e.language, e.group, e.key, e.plural); }

std::set<std::string> projectLanguages(SqlConnection& c, const std::string& id) {
  auto rows = c.run("SELECT language FROM project_languages WHERE project_id = ?", {id});
  std::set<std::string> languages;
  for (std::size_t r = 0; r < rows.size(); ++r) languages.insert(rows.text(r, 0));
  return languages;
}

SqlValue optionalText(const std::optional<std::string>& text) { return text ? SqlValue(*text) : SqlValue(nullptr); }

bool sameContent(std::vector<Entry> stored, std::vector<Entry> incoming) {
  auto byKey = [](const Entry& a, const Entry& b) { return std::tie(a.key, a.plural) < std::tie(b.key, b.plural); };
  std::sort(stored.begin(), stored.end(), byKey);
  std::sort(incoming.begin(), incoming.end(), byKey);
  return std::equal(stored.begin(), stored.end(), incoming.begin(), incoming.end(), [](const Entry& a, const Entry& b) {
    return std::tie(a.key, a.plural, a.value, a.draft) == std::tie(b.key, b.plural, b.value, b.draft);
  });
}

}  // namespace

void SqlStorage::editDrafts(const std::string& id, const std::vector<Entry>& edits) {
  std::vector<Entry> ordered = edits;
  std::sort(ordered.begin(), ordered.end(), [](const Entry& a, const Entry& b) { return identity(a) < identity(b); });
  database_->transaction(true, [&](SqlConnection& c) {
    sql::touchProject(c, id);
    auto languages = projectLanguages(c, id);
    Seconds now = sql::now();
    for (const Entry& edit : ordered) {
      if (!languages.contains(edit.language)) {
        throw StorageError(StorageError::Kind::invalid, "the project has no language " + edit.language);
      }
      if (!edit.draft) {
        c.run("UPDATE entries SET draft = NULL, updated_at = ? WHERE project_id = ? AND language = ? AND "
              "group_name = ? AND key = ? AND plural = ?",
              {now, id, edit.language, edit.group, edit.key, edit.plural});
        continue;
      }
      sql::ensureGroup(c, id, edit.language, edit.group);
      c.run("INSERT INTO entries (project_id, language, group_name, key, plural, value, draft, updated_at) "
            "VALUES (?, ?, ?, ?, ?, NULL, ?, ?) ON CONFLICT (project_id, language, group_name, key, plural) "
            "DO UPDATE SET draft = excluded.draft, updated_at = excluded.updated_at",
            {id, edit.language, edit.group, edit.key, edit.plural, *edit.draft, now});
    }
  });
}

Publication SqlStorage::publish(const std::string& id, const PublishScope& scope) {
  return database_->transaction(true, [&](SqlConnection& c) {
    sql::touchProject(c, id);
    std::string where = " WHERE project_id = ? AND draft IS NOT NULL";
    std::vector<SqlValue> parameters{id};
    if (scope.language) {
      where += " AND language = ?";
      parameters.emplace_back(*scope.language);
    }
    if (scope.group) {
      where += " AND group_name = ?";
      parameters.emplace_back(*scope.group);
    }
    auto changed = c.run("SELECT DISTINCT language, group_name FROM entries" + where +
                             " AND (value IS NULL OR value <> draft) ORDER BY language, group_name",
                         parameters);
    std::vector<SqlValue> update{sql::now()};
    update.insert(update.end(), parameters.begin(), parameters.end());
    c.run("UPDATE entries SET value = draft, draft = NULL, updated_at = ?" + where, update);
    Publication publication;
    for (std::size_t r = 0; r < changed.size(); ++r) {
      auto version = c.run("INSERT INTO text_groups (project_id, language, name, version) VALUES (?, ?, ?, 1) "
                           "ON CONFLICT (project_id, language, name) DO UPDATE SET version = text_groups.version + 1 "
                           "RETURNING version",
                           {id, changed.text(r, 0), changed.text(r, 1)});
      publication.changed.push_back(Group{changed.text(r, 0), changed.text(r, 1), version.integer(0, 0)});
    }
    publication.contentVersion =
        publication.changed.empty()
            ? c.run("SELECT content_version FROM projects WHERE id = ?", {id}).integer(0, 0)
            : c.run("UPDATE projects SET content_version = content_version + 1 WHERE id = ? RETURNING content_version", {id})
                  .integer(0, 0);
    return publication;
  });
}

void SqlStorage::importGroup(const std::string& id, const Group& group, const std::vector<Entry>& entries) {
  database_->transaction(true, [&](SqlConnection& c) {
    sql::touchProject(c, id);
    c.run("INSERT INTO project_languages (project_id, language) VALUES (?, ?) ON CONFLICT (project_id, language) DO NOTHING",
          {id, group.language});
    auto stored = sql::readEntries(c, id, {.language = group.language, .group = group.name});
    auto versionRows = c.run("SELECT version FROM text_groups WHERE project_id = ? AND language = ? AND name = ?",
                             {id, group.language, group.name});
    bool changed = !sameContent(stored, entries);
    std::int64_t version = group.version;
    if (!versionRows.empty()) {
      std::int64_t storedVersion = versionRows.integer(0, 0);
      if (version <= storedVersion) version = changed ? storedVersion + 1 : storedVersion;
    }
    if (changed) {
      c.run("DELETE FROM entries WHERE project_id = ? AND language = ? AND group_name = ?", {id, group.language, group.name});
      Seconds now = sql::now();
      for (const Entry& entry : entries) {
        c.run("INSERT INTO entries (project_id, language, group_name, key, plural, value, draft, updated_at) "
              "VALUES (?, ?, ?, ?, ?, ?, ?, ?)",
              {id, group.language, group.name, entry.key, entry.plural, optionalText(entry.value),
               optionalText(entry.draft), now});
      }
    }
    c.run("INSERT INTO text_groups (project_id, language, name, version) VALUES (?, ?, ?, ?) "
          "ON CONFLICT (project_id, language, name) DO UPDATE SET version = excluded.version",
          {id, group.language, group.name, version});
  });
}

std::vector<Entry> SqlStorage::acceptMissing(const std::string& id, const std::vector<MissingKey>& keys,
                                             const std::string& group) {
  std::vector<MissingKey> ordered = keys;
  std::sort(ordered.begin(), ordered.end(),
            [](const MissingKey& a, const MissingKey& b) { return std::tie(a.language, a.key) < std::tie(b.language, b.key); });
  return database_->transaction(true, [&](SqlConnection& c) {
    sql::touchProject(c, id);
    std::string base = c.run("SELECT base_language FROM projects WHERE id = ?", {id}).text(0, 0);
    Seconds now = sql::now();
    std::vector<Entry> added;
    for (const MissingKey& missing : ordered) {
      auto reported = c.run("SELECT value FROM missing_strings WHERE project_id = ? AND language = ? AND key = ?",
                            {id, missing.language, missing.key});
      if (reported.empty()) continue;
      auto [key, plural] = Entry::splitAppKey(missing.key);
      auto existing = c.run("SELECT 1 FROM entries WHERE project_id = ? AND language = ? AND key = ? AND plural = ?",
                            {id, base, key, plural});
      if (existing.empty()) {
        sql::ensureGroup(c, id, base, group);
        c.run("INSERT INTO entries (project_id, language, group_name, key, plural, value, draft, updated_at) "
              "VALUES (?, ?, ?, ?, ?, NULL, ?, ?)",
              {id, base, group, key, plural, reported.text(0, 0), now});
        added.push_back(Entry{base, group, key, plural, std::nullopt, reported.text(0, 0), now});
      }
      c.run("UPDATE missing_strings SET accepted_at = ? WHERE project_id = ? AND language = ? AND key = ?",
            {now, id, missing.language, missing.key});
    }
    return added;
  });
}

}  // namespace tolvana::server
