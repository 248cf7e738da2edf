#include "api/AdminApi.h"

#include <charconv>

#include "api/AdminJson.h"
#include "api/HttpAnswers.h"
#include "api/InputRules.h"
#include "storage/StorageError.h"
#include "support/Json.h"

namespace tolvana::server {

namespace {

constexpr std::size_t kMaxEditsPerRequest = 20000;
const std::string kProject = "/admin/v1/projects/([^/]+)";

// The body as a JSON object; an empty body counts as {}.
std::optional<Value> objectBody(const httplib::Request& request, httplib::Response& response) {
  if (request.body.empty()) return Value(Value::Dictionary{});
  auto body = json::parse(request.body);
  if (!body || !body->isDictionary()) {
    refuse(request, response, 400, "the body is no JSON object");
    return std::nullopt;
  }
  return body;
}

template <class Records>
std::vector<LiveChanges::Change> changesOf(const Records& records) {
  std::vector<LiveChanges::Change> changes;
  for (const auto& record : records) {
    if constexpr (requires { record.name; }) {
      changes.push_back({record.language, record.name});
    } else {
      changes.push_back({record.language, record.group});
    }
  }
  return changes;
}

std::optional<std::string> param(const httplib::Request& request, const char* name) {
  if (!request.has_param(name)) return std::nullopt;
  return request.get_param_value(name);
}

}  // namespace

httplib::Server::Handler AdminApi::guarded(Handler handler) {
  return [this, handler](const httplib::Request& request, httplib::Response& response) {
    try {
      if (request.matches.size() > 1 &&
          (!InputRules::isProjectId(request.matches[1].str()) || !storage_.revision(request.matches[1]))) {
        return refuse(request, response, 404, "no project " + request.matches[1].str());
      }
      (this->*handler)(request, response);
    } catch (const StorageError& error) {
      refuse(request, response, error);
    }
  };
}

void AdminApi::addRoutes(httplib::Server& server) {
  server.Get("/admin/v1/projects", guarded(&AdminApi::listProjects));
  server.Post("/admin/v1/projects", guarded(&AdminApi::createProject));
  server.Get(kProject, guarded(&AdminApi::showProject));
  server.Patch(kProject, guarded(&AdminApi::changeProject));
  server.Get(kProject + "/groups", guarded(&AdminApi::listGroups));
  server.Get(kProject + "/entries", guarded(&AdminApi::listEntries));
  server.Put(kProject + "/entries", guarded(&AdminApi::editEntries));
  server.Post(kProject + "/publish", guarded(&AdminApi::publish));
  server.Get(kProject + "/missing", guarded(&AdminApi::listMissing));
  server.Post(kProject + "/missing/accept", guarded(&AdminApi::acceptMissing));
  server.Get(kProject + "/screenshots", guarded(&AdminApi::listScreenshots));
  server.Get(kProject + R"(/screenshots/([0-9]{1,18})\.png)", guarded(&AdminApi::screenshotImage));
  server.Get(kProject + "/issues", guarded(&AdminApi::listIssues));
  server.Get(kProject + "/devices", guarded(&AdminApi::listDevices));
}

void AdminApi::listProjects(const httplib::Request&, httplib::Response& response) {
  Value::Array projects;
  for (const Project& project : storage_.projects()) projects.push_back(toJson(project));
  answerJson(response, projects);
}

void AdminApi::createProject(const httplib::Request& request, httplib::Response& response) {
  auto body = objectBody(request, response);
  if (!body) return;
  Project project;
  if (auto problem = readProject(*body, true, &project)) return refuse(request, response, 400, *problem);
  storage_.createProject(project);
  answerJson(response, toJson(*storage_.project(project.id)), 201);
}

void AdminApi::showProject(const httplib::Request& request, httplib::Response& response) {
  auto project = storage_.project(request.matches[1]);
  if (!project) return refuse(request, response, 404, "no project " + request.matches[1].str());
  answerJson(response, toJson(*project));
}

void AdminApi::changeProject(const httplib::Request& request, httplib::Response& response) {
  auto body = objectBody(request, response);
  if (!body) return;
  auto project = storage_.project(request.matches[1]);
  if (!project) return refuse(request, response, 404, "no project " + request.matches[1].str());
  if (auto problem = readProject(*body, false, &*project)) return refuse(request, response, 400, *problem);
  storage_.updateProject(*project);
  answerJson(response, toJson(*storage_.project(project->id)));
}

void AdminApi::listGroups(const httplib::Request& request, httplib::Response& response) {
  Value::Array groups;
  for (const Group& group : storage_.groups(request.matches[1])) groups.push_back(toJson(group));
  answerJson(response, groups);
}

void AdminApi::listEntries(const httplib::Request& request, httplib::Response& response) {
  EntryFilter filter{param(request, "language"), param(request, "group"), param(request, "key"),
                     param(request, "drafts") == "1"};
  Value::Array entries;
  for (const Entry& entry : storage_.entries(request.matches[1], filter)) entries.push_back(toJson(entry));
  answerJson(response, entries);
}

void AdminApi::editEntries(const httplib::Request& request, httplib::Response& response) {
  auto body = objectBody(request, response);
  if (!body) return;
  const Value* items = body->find("entries");
  if (!items || !items->isArray()) return refuse(request, response, 400, "\"entries\" is no array");
  if (items->asArray().size() > kMaxEditsPerRequest) return refuse(request, response, 413, "too many edits at once");
  std::vector<Entry> edits(items->asArray().size());
  for (std::size_t i = 0; i < edits.size(); ++i) {
    if (auto problem = readEdit(items->asArray()[i], &edits[i])) return refuse(request, response, 400, *problem);
  }
  storage_.editDrafts(request.matches[1], edits);
  live_.note(request.matches[1], changesOf(edits));
  answerJson(response, Value::Dictionary{{"edited", static_cast<std::int64_t>(edits.size())}});
}

void AdminApi::publish(const httplib::Request& request, httplib::Response& response) {
  auto body = objectBody(request, response);
  if (!body) return;
  PublishScope scope;
  for (auto [field, into] : {std::pair{"language", &scope.language}, {"group", &scope.group}}) {
    if (const Value* v = body->find(field)) {
      if (!v->isString()) return refuse(request, response, 400, std::string("\"") + field + "\" is no text");
      *into = v->asString();
    }
  }
  Publication publication = storage_.publish(request.matches[1], scope);
  live_.note(request.matches[1], changesOf(publication.changed));
  Value::Array changed;
  for (const Group& group : publication.changed) changed.push_back(toJson(group));
  answerJson(response, Value::Dictionary{{"changed", changed}, {"version", publication.contentVersion}});
}

void AdminApi::listMissing(const httplib::Request& request, httplib::Response& response) {
  Value::Array missing;
  for (const MissingString& m : storage_.missing(request.matches[1])) missing.push_back(toJson(m));
  answerJson(response, missing);
}

void AdminApi::acceptMissing(const httplib::Request& request, httplib::Response& response) {
  auto body = objectBody(request, response);
  if (!body) return;
  const Value* items = body->find("keys");
  if (!items || !items->isArray()) return refuse(request, response, 400, "\"keys\" is no array");
  std::vector<MissingKey> keys;
  for (const Value& item : items->asArray()) {
    const Value* language = item.find("language");
    const Value* key = item.find("key");
    if (!language || !language->isString() || !key || !key->isString()) {
      return refuse(request, response, 400, "each of \"keys\" is {\"language\", \"key\"}");
    }
    keys.push_back(MissingKey{language->asString(), key->asString()});
  }
  const Value* group = body->find("group");
  std::string groupName = group && group->isString() ? group->asString() : "main";
  if (!InputRules::isGroupName(groupName)) return refuse(request, response, 400, "\"group\" is unusable");
  const Value* now = body->find("publish");
  const bool publishing = now && now->isBoolean() && now->asBoolean();
  if (publishing) {
    auto who = auth_.caller(request);
    if (!who || who->role < Role::admin) return refuse(request, response, 403, "only an admin publishes");
  }
  auto added = storage_.acceptMissing(request.matches[1], keys, groupName);
  live_.note(request.matches[1], changesOf(added));
  Value::Dictionary answer;
  if (publishing && !added.empty()) {
    auto publication = storage_.publish(request.matches[1], {.language = added.front().language, .group = groupName});
    answer["version"] = publication.contentVersion;
  }
  Value::Array entries;
  for (const Entry& entry : added) entries.push_back(toJson(entry));
  answer["added"] = entries;
  answerJson(response, answer);
}

void AdminApi::listScreenshots(const httplib::Request& request, httplib::Response& response) {
  const std::string id = request.matches[1];
  Value::Array shots;
  for (const Screenshot& shot : storage_.screenshots(id)) {
    shots.push_back(toJson(shot, "/admin/v1/projects/" + id + "/screenshots/" + std::to_string(shot.id) + ".png"));
  }
  answerJson(response, shots);
}

void AdminApi::screenshotImage(const httplib::Request& request, httplib::Response& response) {
  std::int64_t shot = 0;
  const std::string number = request.matches[2];
  std::from_chars(number.data(), number.data() + number.size(), shot);
  auto png = storage_.screenshotImage(request.matches[1], shot);
  if (!png) return refuse(request, response, 404, "no screenshot " + number);
  response.set_header("X-Content-Type-Options", "nosniff");
  response.set_content(*png, "image/png");
}

void AdminApi::listIssues(const httplib::Request& request, httplib::Response& response) {
  Value::Array issues;
  for (const Issue& issue : storage_.issues(request.matches[1])) issues.push_back(toJson(issue));
  answerJson(response, issues);
}

void AdminApi::listDevices(const httplib::Request& request, httplib::Response& response) {
  devices_.flush();  // what the last requests noted, too
  Value::Array devices;
  for (const DeviceProfile& device : storage_.devices(request.matches[1])) devices.push_back(toJson(device));
  answerJson(response, devices);
}

}  // namespace tolvana::server
