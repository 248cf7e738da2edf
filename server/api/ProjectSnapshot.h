// ProjectSnapshot: one project's texts as they stand at one revision, laid out for answering
// update requests. Each group's part of an answer is encoded once, when the snapshot is
// made, so an answer is a concatenation of ready pieces; the snapshot never changes after
// that, so any number of threads answer from it without a lock.
//
//   ProjectSnapshot snapshot(*storage.content("my-app"));
//   std::string body = snapshot.answer({{"de", {{"main", 3}}}}, false);
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "api/AnswerCache.h"
#include "storage/Records.h"

namespace tolvana::server {

// Language → group → the version the app holds (-1 for none).
using RequestedVersions = std::map<std::string, std::map<std::string, std::int64_t>>;

class ProjectSnapshot {
 public:
  explicit ProjectSnapshot(const ProjectContent& content);

  const Project& project() const { return project_; }
  std::int64_t revision() const { return project_.revision; }

  // The answer's JSON text. Every language of the project is listed, and empty where nothing
  // is newer, because apps drop a language an answer leaves out. A group goes into the answer
  // when it is newer than the version asked with; with drafts, every group asked for goes in,
  // since an app in draft mode takes each group again, with the drafts beside the values.
  std::string answer(const RequestedVersions& requested, bool drafts) const;

  AnswerCache& answers() const { return answers_; }

 private:
  struct GroupTexts {
    std::int64_t version = 0;
    std::string published{};   // {"entries":{key:{"v":…}},"version":N}
    std::string withDrafts{};  // the same with "d" beside "v", and entries that are drafts alone
  };

  Project project_;
  std::map<std::string, std::map<std::string, GroupTexts>> languages_;
  std::string head_;  // everything before the languages
  std::string tail_;  // everything after them
  mutable AnswerCache answers_;
};

}  // namespace tolvana::server
