#include "api/UpdateEndpoint.h"

#include <chrono>

#include "api/Gzip.h"
#include "api/HttpAnswers.h"
#include "api/QueryParams.h"
#include "api/Signature.h"
#include "api/UpdateRequest.h"
#include "storage/StorageError.h"
#include "support/Json.h"
#include "support/TLLog.h"

namespace tolvana::server {

namespace {

constexpr const char* kJsonType = "application/json; charset=utf-8";

Seconds now() {
  return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch()).count();
}

bool acceptsGzip(const httplib::Request& request) {
  return request.get_header_value("Accept-Encoding").find("gzip") != std::string::npos;
}

void noteDeviceFromHeaders(DeviceProfiles& devices, const std::string& project, const httplib::Request& request,
                           Seconds at) {
  UpdateRequest seen;
  UpdateRequest::readProfile(Value(), request, &seen);
  devices.note(project, seen.device, std::move(seen.profile), at);
}

}  // namespace

void UpdateEndpoint::handle(const httplib::Request& request, httplib::Response& response) {
  answer(request, response);
  if (observer_) observer_->answered(request, response);
}

void UpdateEndpoint::answer(const httplib::Request& request, httplib::Response& response) {
  const std::string id = request.matches[1];
  const bool cacheable = request.method == "GET";
  const Seconds at = now();
  std::shared_ptr<const ProjectSnapshot> snapshot;
  try {
    snapshot = snapshots_.current(id);
  } catch (const StorageError& error) {
    return refuse(request, response, error);
  }
  if (!snapshot) return refuse(request, response, 404, "no project " + id);
  const Project& project = snapshot->project();
  const std::string text = cacheable ? paramsOf(request.target).value_or("") : request.body;

  const std::string getKey = cacheable ? "G" + text : "";
  if (cacheable && request.get_header_value("timestamp") == Signature::kCacheableTimestamp) {
    auto cached = snapshot->answers().find(getKey);
    if (cached && Signature::sameSignature(request.get_header_value("hmac"), cached->signature)) {
      noteDeviceFromHeaders(devices_, id, request, at);
      if (observer_ && observer_->answerInstead(response)) return;
      return send(request, response, *cached, true);
    }
  }

  if (auto problem = Signature::problem(
          request, {project.apiSecret, text, cacheable, options_.maxClockSkewSeconds, at})) {
    return refuse(request, response, 401, *problem);
  }
  auto body = json::parse(text);
  if (!body || !body->isDictionary()) return refuse(request, response, 400, "the request is no JSON object");
  UpdateRequest update;
  if (auto problem = UpdateRequest::read(*body, request, at, &update)) return refuse(request, response, 400, *problem);
  update.drafts = update.drafts && project.draftMode;
  if (update.missingRefused > 0) {
    logWarning("%@: %@ missing strings refused (key or text unusable)",
                                id, update.missingRefused);
  }
  if (!update.missing.empty() && project.collectMissing) {
    try {
      storage_.recordMissing(id, update.missing);
    } catch (const StorageError& error) {
      return refuse(request, response, error);
    }
  }
  devices_.note(id, update.device, std::move(update.profile), at);
  if (observer_ && observer_->answerInstead(response)) return;

  // A cacheable request with missing strings in it must reach them every time.
  const bool keepByText = cacheable && body->find("missingEntries") == nullptr;
  const std::string key = keepByText ? getKey : update.answerKey();
  auto answer = snapshot->answers().find(key);
  if (!answer) {
    auto made = std::make_shared<EncodedAnswer>();
    made->plain = snapshot->answer(update.requested, update.drafts);
    made->gzip = gzipped(made->plain);
    made->etag = entityTagOf(made->plain);
    if (keepByText) made->signature = Signature::of(project.apiSecret, Signature::kCacheableTimestamp, text);
    snapshot->answers().insert(key, made);
    answer = std::move(made);
  }
  send(request, response, *answer, cacheable);
}

void UpdateEndpoint::send(const httplib::Request& request, httplib::Response& response, const EncodedAnswer& answer,
                          bool cacheable) {
  response.set_header("ETag", answer.etag);
  response.set_header("Vary", "Accept-Encoding");
  response.set_header("Cache-Control",
                      cacheable ? "public, max-age=" + std::to_string(options_.cacheMaxAgeSeconds) : "no-store");
  if (cacheable && request.get_header_value("If-None-Match") == answer.etag) {
    response.status = 304;
    return;
  }
  response.status = 200;
  // The type is not one the HTTP library compresses by itself, so the stream made once goes
  // out as it is.
  if (acceptsGzip(request)) {
    response.set_header("Content-Encoding", "gzip");
    response.set_content(answer.gzip, kJsonType);
  } else {
    response.set_content(answer.plain, kJsonType);
  }
}

}  // namespace tolvana::server
