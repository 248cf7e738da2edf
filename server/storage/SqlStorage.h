// SqlStorage: Storage over an SQL database, the same queries for SQLite and PostgreSQL.
//
// Every write to a project first raises the project's row (its revision, or its issue
// counter), which in PostgreSQL locks that row: writers of one project take turns, and a
// publication that two server processes start at once bumps each group once per turn, never
// twice from one read. Rows of several keys are written in key order, so two writers never
// wait for each other in a circle.
#pragma once

#include <memory>

#include "storage/SqlDatabase.h"
#include "storage/Storage.h"

namespace tolvana::server {

class SqlStorage final : public Storage {
 public:
  // Migrates the database to the latest schema first.
  explicit SqlStorage(std::unique_ptr<SqlDatabase> database);

  std::vector<Project> projects() override;
  std::optional<Project> project(const std::string& id) override;
  void createProject(const Project& project) override;
  void updateProject(const Project& project) override;
  std::optional<std::int64_t> revision(const std::string& id) override;
  std::optional<std::uint64_t> changeCounter() override { return database_->changeCounter(); }
  std::optional<ProjectContent> content(const std::string& id) override;

  std::vector<Entry> entries(const std::string& id, const EntryFilter& filter) override;
  std::vector<Group> groups(const std::string& id) override;
  void editDrafts(const std::string& id, const std::vector<Entry>& edits) override;
  Publication publish(const std::string& id, const PublishScope& scope) override;
  void importGroup(const std::string& id, const Group& group, const std::vector<Entry>& entries) override;

  void recordMissing(const std::string& id, const std::vector<MissingString>& reported) override;
  std::vector<MissingString> missing(const std::string& id) override;
  std::vector<Entry> acceptMissing(const std::string& id, const std::vector<MissingKey>& keys,
                                   const std::string& group) override;
  std::int64_t addScreenshot(const std::string& id, const Screenshot& shot, const std::string& png) override;
  std::vector<Screenshot> screenshots(const std::string& id) override;
  std::optional<std::string> screenshotImage(const std::string& id, std::int64_t shot) override;
  Issue addIssue(const std::string& id, const Issue& issue) override;
  std::vector<Issue> issues(const std::string& id) override;
  void recordDevices(const std::string& id, const std::vector<DeviceProfile>& seen) override;
  std::vector<DeviceProfile> devices(const std::string& id) override;

  void createAccount(const Account& account) override;
  void replaceAccount(const Account& account) override;
  std::optional<Account> account(const std::string& name) override;
  std::vector<Account> accounts() override;
  bool removeAccount(const std::string& name) override;
  void createSession(const SessionRecord& session, Seconds now) override;
  std::optional<SignedIn> session(const std::string& idDigest, Seconds now) override;
  void endSession(const std::string& idDigest) override;

 private:
  std::unique_ptr<SqlDatabase> database_;
};

// Shared by SqlStorage's files.
namespace sql {
Seconds now();
// Raises the project's revision (and takes its row for the transaction); throws notFound.
std::int64_t touchProject(SqlConnection& connection, const std::string& id);
std::vector<Project> readProjects(SqlConnection& connection, const std::optional<std::string>& id);
std::vector<Entry> readEntries(SqlConnection& connection, const std::string& id, const EntryFilter& filter);
void ensureGroup(SqlConnection& connection, const std::string& id, const std::string& language, const std::string& group);
}  // namespace sql

}  // namespace tolvana::server
