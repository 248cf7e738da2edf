#include "storage/SqlStorage.h"

#include <algorithm>
#include <chrono>
#include <map>

#include "storage/Migrations.h"
#include "storage/StorageError.h"
#include "support/Json.h"

namespace tolvana::server {

namespace {

std::string tagsJson(const std::vector<std::string>& tags) {
  Value::Array array(tags.begin(), tags.end());
  return json::serialize(array);
}

std::vector<std::string> tagsOf(const std::string& text) {
  std::vector<std::string> tags;
  auto parsed = json::parse(text);
  if (!parsed || !parsed->isArray()) return tags;
  for (const Value& tag : parsed->asArray()) {
    if (tag.isString()) tags.push_back(tag.asString());
  }
  return tags;
}

void writeLanguages(SqlConnection& sql, const Project& project) {
  sql.run("DELETE FROM project_languages WHERE project_id = ?", {project.id});
  std::vector<std::string> languages = project.languages;
  languages.push_back(project.baseLanguage);
  std::sort(languages.begin(), languages.end());
  languages.erase(std::unique(languages.begin(), languages.end()), languages.end());
  for (const auto& language : languages) {
    sql.run("INSERT INTO project_languages (project_id, language) VALUES (?, ?)", {project.id, language});
  }
}

SqlValue optionalText(const std::optional<std::string>& text) {
  return text ? SqlValue(*text) : SqlValue(nullptr);
}

}  // namespace

namespace sql {

Seconds now() {
  return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch()).count();
}

std::int64_t touchProject(SqlConnection& connection, const std::string& id) {
  auto rows = connection.run("UPDATE projects SET revision = revision + 1 WHERE id = ? RETURNING revision", {id});
  if (rows.empty()) throw StorageError(StorageError::Kind::notFound, "no project " + id);
  if (!connection.raisedGeneration) {
    connection.raisedGeneration =
        connection.run("UPDATE change_generation SET generation = generation + 1 RETURNING generation").integer(0, 0);
  }
  return rows.integer(0, 0);
}

std::vector<Project> readProjects(SqlConnection& connection, const std::optional<std::string>& id) {
  const char* columns =
      "SELECT id, api_secret, base_language, enterprise_host, collect_missing, draft_mode, screen_tags, "
      "content_version, revision FROM projects";
  auto rows = id ? connection.run(std::string(columns) + " WHERE id = ?", {*id})
                 : connection.run(std::string(columns) + " ORDER BY id");
  std::vector<Project> projects;
  std::map<std::string, std::size_t> index;
  for (std::size_t r = 0; r < rows.size(); ++r) {
    index[rows.text(r, 0)] = projects.size();
    projects.push_back(Project{.id = rows.text(r, 0),
                               .apiSecret = rows.text(r, 1),
                               .baseLanguage = rows.text(r, 2),
                               .languages = {},
                               .enterpriseHost = rows.cell(r, 3),
                               .collectMissing = rows.integer(r, 4) != 0,
                               .draftMode = rows.integer(r, 5) != 0,
                               .screenTags = tagsOf(rows.text(r, 6)),
                               .contentVersion = rows.integer(r, 7),
                               .revision = rows.integer(r, 8)});
  }
  auto languages = id ? connection.run("SELECT project_id, language FROM project_languages WHERE project_id = ? "
                                       "ORDER BY language", {*id})
                      : connection.run("SELECT project_id, language FROM project_languages ORDER BY project_id, language");
  for (std::size_t r = 0; r < languages.size(); ++r) {
    auto found = index.find(languages.text(r, 0));
    if (found != index.end()) projects[found->second].languages.push_back(languages.text(r, 1));
  }
  return projects;
}

std::vector<Entry> readEntries(SqlConnection& connection, const std::string& id, const EntryFilter& filter) {
  std::string query =
      "SELECT language, group_name, key, plural, value, draft, updated_at FROM entries WHERE project_id = ?";
  std::vector<SqlValue> parameters{id};
  auto narrow = [&](const char* column, const std::optional<std::string>& value) {
    if (!value) return;
    query += std::string(" AND ") + column + " = ?";
    parameters.emplace_back(*value);
  };
  narrow("language", filter.language);
  narrow("group_name", filter.group);
  narrow("key", filter.key);
  if (filter.withDraftOnly) query += " AND draft IS NOT NULL";
  query += " ORDER BY language, group_name, key, plural";
  auto rows = connection.run(query, parameters);
  std::vector<Entry> entries;
  entries.reserve(rows.size());
  for (std::size_t r = 0; r < rows.size(); ++r) {
    entries.push_back(Entry{rows.text(r, 0), rows.text(r, 1), rows.text(r, 2), rows.text(r, 3), rows.cell(r, 4),
                            rows.cell(r, 5), rows.integer(r, 6)});
  }
  return entries;
}

void ensureGroup(SqlConnection& connection, const std::string& id, const std::string& language, const std::string& group) {
  connection.run("INSERT INTO text_groups (project_id, language, name, version) VALUES (?, ?, ?, 0) "
                 "ON CONFLICT (project_id, language, name) DO NOTHING",
                 {id, language, group});
}

}  // namespace sql

SqlStorage::SqlStorage(std::unique_ptr<SqlDatabase> database) : database_(std::move(database)) { migrate(*database_); }

std::vector<Project> SqlStorage::projects() {
  return database_->transaction(false, [](SqlConnection& c) { return sql::readProjects(c, std::nullopt); });
}

std::optional<Project> SqlStorage::project(const std::string& id) {
  auto found = database_->transaction(false, [&](SqlConnection& c) { return sql::readProjects(c, id); });
  if (found.empty()) return std::nullopt;
  return found.front();
}

void SqlStorage::createProject(const Project& project) {
  database_->transaction(true, [&](SqlConnection& c) {
    c.run("INSERT INTO projects (id, api_secret, base_language, enterprise_host, collect_missing, draft_mode, "
          "screen_tags, content_version, revision, created_at) VALUES (?, ?, ?, ?, ?, ?, ?, ?, 1, ?)",
          {project.id, project.apiSecret, project.baseLanguage, optionalText(project.enterpriseHost),
           std::int64_t{project.collectMissing}, std::int64_t{project.draftMode}, tagsJson(project.screenTags),
           std::max<std::int64_t>(project.contentVersion, 1), sql::now()});
    writeLanguages(c, project);
  });
}

void SqlStorage::updateProject(const Project& project) {
  database_->transaction(true, [&](SqlConnection& c) {
    sql::touchProject(c, project.id);
    // The content version only rises: apps take the app-level settings only from a newer one.
    c.run("UPDATE projects SET api_secret = ?, base_language = ?, enterprise_host = ?, collect_missing = ?, "
          "draft_mode = ?, screen_tags = ?, content_version = CASE WHEN ? > content_version THEN ? ELSE "
          "content_version END WHERE id = ?",
          {project.apiSecret, project.baseLanguage, optionalText(project.enterpriseHost),
           std::int64_t{project.collectMissing}, std::int64_t{project.draftMode}, tagsJson(project.screenTags),
           project.contentVersion, project.contentVersion, project.id});
    writeLanguages(c, project);
  });
}

std::optional<std::int64_t> SqlStorage::revision(const std::string& id) {
  auto rows = database_->lease()->run("SELECT revision FROM projects WHERE id = ?", {id});
  if (rows.empty()) return std::nullopt;
  return rows.integer(0, 0);
}

std::optional<ProjectContent> SqlStorage::content(const std::string& id) {
  return database_->transaction(false, [&](SqlConnection& c) -> std::optional<ProjectContent> {
    auto projects = sql::readProjects(c, id);
    if (projects.empty()) return std::nullopt;
    ProjectContent content{projects.front(), {}, sql::readEntries(c, id, {})};
    auto rows = c.run("SELECT language, name, version FROM text_groups WHERE project_id = ? ORDER BY language, name", {id});
    for (std::size_t r = 0; r < rows.size(); ++r) {
      content.groups.push_back(Group{rows.text(r, 0), rows.text(r, 1), rows.integer(r, 2)});
    }
    return content;
  });
}

std::vector<Entry> SqlStorage::entries(const std::string& id, const EntryFilter& filter) {
  return database_->transaction(false, [&](SqlConnection& c) { return sql::readEntries(c, id, filter); });
}

std::vector<Group> SqlStorage::groups(const std::string& id) {
  auto rows = database_->lease()->run(
      "SELECT language, name, version FROM text_groups WHERE project_id = ? ORDER BY language, name", {id});
  std::vector<Group> groups;
  for (std::size_t r = 0; r < rows.size(); ++r) groups.push_back(Group{rows.text(r, 0), rows.text(r, 1), rows.integer(r, 2)});
  return groups;
}

}  // namespace tolvana::server
