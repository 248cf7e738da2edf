// SqlStorage: what apps send in, kept for the people who act on it.
#include <algorithm>
#include <tuple>

#include "storage/SqlStorage.h"
#include "storage/StorageError.h"

namespace tolvana::server {

void SqlStorage::recordMissing(const std::string& id, const std::vector<MissingString>& reported) {
  std::vector<MissingString> ordered = reported;
  std::sort(ordered.begin(), ordered.end(), [](const MissingString& a, const MissingString& b) {
    return std::tie(a.language, a.key) < std::tie(b.language, b.key);
  });
  database_->transaction(true, [&](SqlConnection& c) {
    for (const MissingString& m : ordered) {
      c.run("INSERT INTO missing_strings (project_id, language, key, value, first_seen, last_seen, reports, "
            "app_version, accepted_at) VALUES (?, ?, ?, ?, ?, ?, 1, ?, NULL) "
            "ON CONFLICT (project_id, language, key) DO UPDATE SET reports = missing_strings.reports + 1, "
            "value = CASE WHEN missing_strings.value = '' THEN excluded.value ELSE missing_strings.value END, "
            // Reports of one string may commit out of order: the latest report decides.
            "app_version = CASE WHEN excluded.last_seen >= missing_strings.last_seen THEN excluded.app_version "
            "ELSE missing_strings.app_version END, "
            "last_seen = CASE WHEN excluded.last_seen > missing_strings.last_seen THEN excluded.last_seen "
            "ELSE missing_strings.last_seen END",
            {id, m.language, m.key, m.value, m.firstSeen, m.lastSeen, m.appVersion});
    }
  });
}

std::vector<MissingString> SqlStorage::missing(const std::string& id) {
  auto rows = database_->lease()->run(
      "SELECT language, key, value, first_seen, last_seen, reports, app_version, accepted_at FROM missing_strings "
      "WHERE project_id = ? ORDER BY language, key",
      {id});
  std::vector<MissingString> missing;
  for (std::size_t r = 0; r < rows.size(); ++r) {
    std::optional<Seconds> accepted;
    if (rows.cell(r, 7)) accepted = rows.integer(r, 7);
    missing.push_back(MissingString{rows.text(r, 0), rows.text(r, 1), rows.text(r, 2), rows.integer(r, 3),
                                    rows.integer(r, 4), rows.integer(r, 5), rows.text(r, 6), accepted});
  }
  return missing;
}

std::int64_t SqlStorage::addScreenshot(const std::string& id, const Screenshot& shot, const std::string& png) {
  auto rows = database_->lease()->run(
      "INSERT INTO screenshots (project_id, tag, png, bytes, positions, device, received_at) "
      "VALUES (?, ?, ?, ?, ?, ?, ?) RETURNING id",
      {id, shot.tag, SqlBlob{png}, static_cast<std::int64_t>(png.size()), shot.positionsJson, shot.deviceJson,
       shot.receivedAt});
  return rows.integer(0, 0);
}

std::vector<Screenshot> SqlStorage::screenshots(const std::string& id) {
  auto rows = database_->lease()->run(
      "SELECT id, tag, bytes, positions, device, received_at FROM screenshots WHERE project_id = ? ORDER BY id", {id});
  std::vector<Screenshot> shots;
  for (std::size_t r = 0; r < rows.size(); ++r) {
    shots.push_back(Screenshot{rows.integer(r, 0), rows.text(r, 1), rows.integer(r, 2), rows.text(r, 3), rows.text(r, 4),
                               rows.integer(r, 5)});
  }
  return shots;
}

std::optional<std::string> SqlStorage::screenshotImage(const std::string& id, std::int64_t shot) {
  auto rows = database_->lease()->run("SELECT png FROM screenshots WHERE project_id = ? AND id = ?", {id, shot});
  if (rows.empty()) return std::nullopt;
  return rows.text(0, 0);
}

Issue SqlStorage::addIssue(const std::string& id, const Issue& issue) {
  return database_->transaction(true, [&](SqlConnection& c) {
    auto counted = c.run("UPDATE projects SET issues_filed = issues_filed + 1 WHERE id = ? RETURNING issues_filed", {id});
    if (counted.empty()) throw StorageError(StorageError::Kind::notFound, "no project " + id);
    Issue filed = issue;
    filed.number = counted.integer(0, 0);
    filed.tag = "ISSUE-" + std::to_string(filed.number);
    c.run("INSERT INTO issues (project_id, number, tag, summary, description, device, received_at) "
          "VALUES (?, ?, ?, ?, ?, ?, ?)",
          {id, filed.number, filed.tag, filed.summary, filed.description, filed.deviceJson, filed.receivedAt});
    return filed;
  });
}

std::vector<Issue> SqlStorage::issues(const std::string& id) {
  auto rows = database_->lease()->run(
      "SELECT number, tag, summary, description, device, received_at FROM issues WHERE project_id = ? ORDER BY number",
      {id});
  std::vector<Issue> issues;
  for (std::size_t r = 0; r < rows.size(); ++r) {
    issues.push_back(Issue{rows.integer(r, 0), rows.text(r, 1), rows.text(r, 2), rows.text(r, 3), rows.text(r, 4),
                           rows.integer(r, 5)});
  }
  return issues;
}

void SqlStorage::recordDevices(const std::string& id, const std::vector<DeviceProfile>& seen) {
  std::vector<DeviceProfile> ordered = seen;
  std::sort(ordered.begin(), ordered.end(), [](const auto& a, const auto& b) { return a.device < b.device; });
  database_->transaction(true, [&](SqlConnection& c) {
    for (const DeviceProfile& d : ordered) {
      c.run("INSERT INTO devices (project_id, device, profile, first_seen, last_seen, requests) VALUES (?, ?, ?, ?, ?, ?) "
            "ON CONFLICT (project_id, device) DO UPDATE SET requests = devices.requests + excluded.requests, "
            "profile = CASE WHEN excluded.last_seen >= devices.last_seen THEN excluded.profile ELSE devices.profile END, "
            "first_seen = CASE WHEN excluded.first_seen < devices.first_seen THEN excluded.first_seen "
            "ELSE devices.first_seen END, "
            "last_seen = CASE WHEN excluded.last_seen > devices.last_seen THEN excluded.last_seen ELSE devices.last_seen END",
            {id, d.device, d.profileJson, d.firstSeen, d.lastSeen, d.requests});
    }
  });
}

std::vector<DeviceProfile> SqlStorage::devices(const std::string& id) {
  auto rows = database_->lease()->run(
      "SELECT device, profile, first_seen, last_seen, requests FROM devices WHERE project_id = ? ORDER BY first_seen, device",
      {id});
  std::vector<DeviceProfile> devices;
  for (std::size_t r = 0; r < rows.size(); ++r) {
    devices.push_back(DeviceProfile{rows.text(r, 0), rows.text(r, 1), rows.integer(r, 2), rows.integer(r, 3),
                                    rows.integer(r, 4)});
  }
  return devices;
}

}  // namespace tolvana::server
