// Storage: the translation server's one database interface. SQLite (one process, nothing to
// install) and PostgreSQL (several server processes on one database) implement it alike;
// the HTTP side and the import and export of project directories know nothing else.
//
// Thread contract: any thread may call any method, also at once; each call is one
// transaction of its own, so a reader sees a publication whole or not at all. Failures
// throw StorageError. Two server processes may share one database: nothing here assumes
// that this process made the last change (revision() is how a process notices another's).
//
//   auto storage = openStorage({.dataDirectory = "/var/lib/tolvana-server"});
//   storage->createProject(project);
//   storage->editDrafts("my-app", {{.language = "de", .group = "main", .key = "title", .draft = "Titel"}});
//   storage->publish("my-app", {});
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "storage/Accounts.h"
#include "storage/Records.h"

namespace tolvana::server {

struct EntryFilter {
  std::optional<std::string> language{};
  std::optional<std::string> group{};
  std::optional<std::string> key{};
  bool withDraftOnly = false;  // only entries whose draft waits for publication
};

// Which drafts a publication takes: all of the project's, or those of one language or group.
struct PublishScope {
  std::optional<std::string> language{};
  std::optional<std::string> group{};
};

struct Publication {
  std::vector<Group> changed{};  // the groups whose version went up, with their new versions
  std::int64_t contentVersion = 0;
};

struct MissingKey {
  std::string language{};
  std::string key{};
};

class Storage {
 public:
  virtual ~Storage() = default;

  // Projects.
  virtual std::vector<Project> projects() = 0;
  virtual std::optional<Project> project(const std::string& id) = 0;
  // Throws a conflict when the id is taken.
  virtual void createProject(const Project& project) = 0;
  // Replaces the settings (everything but the id, the content version and the revision).
  virtual void updateProject(const Project& project) = 0;
  // The project's revision, which goes up with every change an answer could show; nullopt
  // for an unknown project. Cheap: asked once per update request.
  virtual std::optional<std::int64_t> revision(const std::string& id) = 0;
  // A number that moves whenever any process commits a change, read without asking the
  // database: while it stands still, every revision does. Nullopt where the backend cannot
  // tell so cheaply (revision() must be asked then).
  virtual std::optional<std::uint64_t> changeCounter() = 0;
  virtual std::optional<ProjectContent> content(const std::string& id) = 0;

  // Texts.
  virtual std::vector<Entry> entries(const std::string& id, const EntryFilter& filter) = 0;
  virtual std::vector<Group> groups(const std::string& id) = 0;
  // Sets the draft of each entry (creating the entry where it is new); a draft of nullopt
  // withdraws a waiting draft. Languages outside the project are refused (invalid).
  virtual void editDrafts(const std::string& id, const std::vector<Entry>& edits) = 0;
  // Turns the waiting drafts in scope into published values; each group whose values changed
  // goes up one version, and the project's content version goes up once if any did.
  virtual Publication publish(const std::string& id, const PublishScope& scope) = 0;
  // Makes one group exactly what an imported directory holds (values and drafts, no other
  // keys), adding the language to the project. Its version becomes `version`, or one above the
  // stored version when that is not higher and the content changed, so apps notice.
  virtual void importGroup(const std::string& id, const Group& group, const std::vector<Entry>& entries) = 0;

  // What apps send.
  // Counts each string once more; the first non-empty text of a key is kept.
  virtual void recordMissing(const std::string& id, const std::vector<MissingString>& reported) = 0;
  virtual std::vector<MissingString> missing(const std::string& id) = 0;
  // Adds each reported string to the base language as a draft under its reported text (keys
  // the base language has already are left alone) and marks it accepted; the drafts added.
  virtual std::vector<Entry> acceptMissing(const std::string& id, const std::vector<MissingKey>& keys,
                                           const std::string& group) = 0;
  // The new screenshot's id; concurrent uploads each get their own.
  virtual std::int64_t addScreenshot(const std::string& id, const Screenshot& shot, const std::string& png) = 0;
  virtual std::vector<Screenshot> screenshots(const std::string& id) = 0;
  virtual std::optional<std::string> screenshotImage(const std::string& id, std::int64_t shot) = 0;
  // The issue as filed, with its number and tag.
  virtual Issue addIssue(const std::string& id, const Issue& issue) = 0;
  virtual std::vector<Issue> issues(const std::string& id) = 0;
  // Adds the requests of each device to what is kept of it, in one transaction.
  virtual void recordDevices(const std::string& id, const std::vector<DeviceProfile>& seen) = 0;
  virtual std::vector<DeviceProfile> devices(const std::string& id) = 0;

  // Console accounts and their sessions.
  // Throws a conflict when the name is taken.
  virtual void createAccount(const Account& account) = 0;
  // Creates the account, or gives an existing one this password and role and ends its sessions.
  virtual void replaceAccount(const Account& account) = 0;
  virtual std::optional<Account> account(const std::string& name) = 0;
  virtual std::vector<Account> accounts() = 0;
  // False when there was no such account; its sessions end with it.
  virtual bool removeAccount(const std::string& name) = 0;
  // Keeps a new session, and lets go of every session that has expired at `now`.
  virtual void createSession(const SessionRecord& session, Seconds now) = 0;
  // Whose the session is, while it lasts at `now`.
  virtual std::optional<SignedIn> session(const std::string& idDigest, Seconds now) = 0;
  virtual void endSession(const std::string& idDigest) = 0;
};

// Where the data lives: a directory for SQLite, or a PostgreSQL connection URL.
struct StorageLocation {
  std::string dataDirectory{};
  std::string databaseUrl{};
  int connections = 8;  // the most connections held at once
};

// Opens (creating and migrating) the database; throws StorageError when it cannot.
std::unique_ptr<Storage> openStorage(const StorageLocation& location);

}  // namespace tolvana::server
