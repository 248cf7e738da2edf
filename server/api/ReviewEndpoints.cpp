#include "api/ReviewEndpoints.h"

#include <chrono>

#include "api/HttpAnswers.h"
#include "api/InputRules.h"
#include "api/QueryParams.h"
#include "api/RawUploads.h"
#include "api/ReviewRequests.h"
#include "api/Signature.h"
#include "storage/StorageError.h"
#include "support/Json.h"

namespace tolvana::server {

namespace {

// A device that sends its screenshot slower than this is holding a request thread hostage.
constexpr auto kMaxUploadTime = std::chrono::seconds(60);

Seconds now() {
  return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch()).count();
}

// The fields of a JSON object other than the named ones, as a JSON object's text.
std::string otherFields(const Value& body, std::initializer_list<const char*> taken) {
  Value::Dictionary rest = body.asDictionary();
  for (const char* name : taken) rest.erase(name);
  return json::serialize(rest);
}

class UploadSlot {
 public:
  UploadSlot(std::atomic<int>& uploading, int limit) : uploading_(uploading), held_(++uploading_ <= limit) {}
  ~UploadSlot() { --uploading_; }
  explicit operator bool() const { return held_; }

 private:
  std::atomic<int>& uploading_;
  bool held_;
};

}  // namespace

std::shared_ptr<const ProjectSnapshot> ReviewEndpoints::projectOf(const httplib::Request& request,
                                                                  httplib::Response& response) {
  try {
    auto snapshot = snapshots_.current(request.matches[1]);
    if (!snapshot) refuse(request, response, 404, "no project " + std::string(request.matches[1]));
    return snapshot;
  } catch (const StorageError& error) {
    refuse(request, response, error);
    return nullptr;
  }
}

bool ReviewEndpoints::signedCorrectly(const httplib::Request& request, httplib::Response& response,
                                      const Project& project, const std::string& text) {
  auto problem = Signature::problem(request, {project.apiSecret, text, false, options_.maxClockSkewSeconds, now()});
  if (problem) refuse(request, response, 401, *problem);
  return !problem;
}

void ReviewEndpoints::screenTags(const httplib::Request& request, httplib::Response& response) {
  auto snapshot = projectOf(request, response);
  if (!snapshot || !signedCorrectly(request, response, snapshot->project(), paramsOf(request.target).value_or(""))) {
    return;
  }
  Value::Array tags(snapshot->project().screenTags.begin(), snapshot->project().screenTags.end());
  response.set_header("Cache-Control", "no-store");
  answerJson(response, tags);
}

void ReviewEndpoints::uploadScreenshot(const httplib::Request& request, httplib::Response& response,
                                       const httplib::ContentReader& reader) {
  UploadSlot slot(uploading_, options_.maxConcurrentUploads);
  if (!slot) {
    response.set_header("Retry-After", "5");
    return refuseAndClose(request, response, 503, "too many uploads at once");
  }
  auto snapshot = projectOf(request, response);
  if (!snapshot) return closeAfterAnswer(response);
  std::string raw;
  auto deadline = std::chrono::steady_clock::now() + kMaxUploadTime;
  bool complete = reader([&](const char* data, std::size_t length) {
    raw.append(data, length);
    return raw.size() <= options_.maxUploadBytes && std::chrono::steady_clock::now() < deadline;
  });
  if (!complete) return refuseAndClose(request, response, 408, "the upload was cut off or took too long");
  auto parsed = parseScreenshotUpload(uploadContentType(request), request.get_header_value("Content-Length"), raw);
  if (auto* error = std::get_if<std::string>(&parsed)) return refuse(request, response, 400, *error);
  auto& [png, text] = std::get<ScreenshotParts>(parsed);
  if (!signedCorrectly(request, response, snapshot->project(), text)) return;
  auto body = json::parse(text);
  if (auto error = body ? screenshotBodyError(*body) : std::optional<std::string>("the string part is no JSON")) {
    return refuse(request, response, 400, *error);
  }
  const std::string& tag = body->find("screenTag")->asString();
  if (tag.empty() || !InputRules::isText(tag, InputRules::kMaxTagBytes)) {
    return refuse(request, response, 400, "the screen tag is empty or too long");
  }
  Screenshot shot{0, tag, static_cast<std::int64_t>(png.size()), json::serialize(*body->find("stringPositions")),
                  otherFields(*body, {"stringPositions", "screenTag"}), now()};
  try {
    std::int64_t id = storage_.addScreenshot(request.matches[1], shot, png);
    answerJson(response, Value::Dictionary{{"ok", true}, {"id", id}});
  } catch (const StorageError& error) {
    refuse(request, response, error);
  }
}

void ReviewEndpoints::createIssue(const httplib::Request& request, httplib::Response& response) {
  auto snapshot = projectOf(request, response);
  if (!snapshot || !signedCorrectly(request, response, snapshot->project(), request.body)) return;
  if (auto error = issueRequestError(request.get_header_value("Content-Type"),
                                     request.get_header_value("Content-Length"), request.body)) {
    return refuse(request, response, 400, *error);
  }
  Value body = *json::parse(request.body);
  const std::string& summary = body.find("summary")->asString();
  const std::string& description = body.find("description")->asString();
  if (!InputRules::isText(summary) || !InputRules::isText(description)) {
    return refuse(request, response, 400, "the summary or description is too long");
  }
  try {
    Issue filed = storage_.addIssue(request.matches[1],
                                    Issue{0, "", summary, description, otherFields(body, {"summary", "description"}), now()});
    answerJson(response, Value::Dictionary{{"tag", filed.tag}});
  } catch (const StorageError& error) {
    refuse(request, response, error);
  }
}

}  // namespace tolvana::server
