#include "api/LiveEndpoint.h"

#include <chrono>

#include "api/HttpAnswers.h"
#include "api/QueryParams.h"
#include "api/Signature.h"
#include "storage/StorageError.h"
#include "support/Json.h"

namespace tolvana::server {

namespace {

constexpr std::size_t kMaxCursor = 64;

}  // namespace

void LiveEndpoint::handle(const httplib::Request& request, httplib::Response& response) {
  const std::string id = request.matches[1];
  std::string secret;
  bool draftMode = false;
  try {
    // Not kept while the request waits: a publication meanwhile makes another snapshot.
    auto snapshot = snapshots_.current(id);
    if (!snapshot) return refuse(request, response, 404, "no project " + id);
    secret = snapshot->project().apiSecret;
    draftMode = snapshot->project().draftMode;
  } catch (const StorageError& error) {
    return refuse(request, response, error);
  }
  const std::string text = paramsOf(request.target).value_or("");
  const Seconds now =
      std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch()).count();
  if (auto problem = Signature::problem(request, {secret, text, false, options_.maxClockSkewSeconds, now})) {
    return refuse(request, response, 401, *problem);
  }
  if (!draftMode) return refuse(request, response, 403, "draft mode is off for project " + id);
  auto body = json::parse(text);
  const Value* cursor = body ? body->find("cursor") : nullptr;
  if (!body || !body->isDictionary() || (cursor && (!cursor->isString() || cursor->asString().size() > kMaxCursor))) {
    return refuse(request, response, 400, "the request is no {\"cursor\": text}");
  }
  auto heard = changes_.wait(id, cursor ? cursor->asString() : "", std::chrono::seconds(options_.livePollSeconds));
  if (!heard) {
    response.set_header("Retry-After", "10");
    return refuse(request, response, 503, "too many apps are waiting for changes; ask again later");
  }
  Value::Array changes;
  for (const auto& change : heard->changes) {
    changes.push_back(Value::Dictionary{{"language", change.language}, {"group", change.group}});
  }
  response.set_header("Cache-Control", "no-store");
  answerJson(response, Value::Dictionary{{"cursor", heard->cursor}, {"changes", changes}, {"resync", heard->resync}});
}

}  // namespace tolvana::server
