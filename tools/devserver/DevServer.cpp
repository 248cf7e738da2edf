#include "DevServer.h"

#include <httplib.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <thread>

#include <sys/socket.h>

#include "Faults.h"
#include "Project.h"
#include "RawUploads.h"
#include "ReviewRequests.h"
#include "SelfSignedCertificate.h"
#include "ServerStore.h"
#include "support/Hmac.h"
#include "support/Json.h"

namespace fs = std::filesystem;

namespace tolvana::devserver {

namespace {

// Cacheable update requests carry this time stamp on every device.
constexpr const char* kCacheableTimestamp = "213374411";
constexpr const char* kProfileFields[] = {"deviceModel",      "genuine",       "platform",       "operatingSystem",
                                          "bundleIdentifier", "bundleVersion", "did",            "deviceLanguage",
                                          "deviceLanguageLong", "deviceLocale", "sdkVersion"};

std::string percentDecoded(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size() && std::isxdigit(static_cast<unsigned char>(text[i + 1])) &&
        std::isxdigit(static_cast<unsigned char>(text[i + 2]))) {
      out += static_cast<char>(std::stoi(std::string(text.substr(i + 1, 2)), nullptr, 16));
      i += 2;
    } else {
      out += text[i];  // a '+' stays a '+': clients encode blanks as %20
    }
  }
  return out;
}

// The raw "params" text of the query: everything after "params=", since a JSON text may
// itself hold '&' and '=' that the client leaves unencoded.
std::optional<std::string> rawParams(const std::string& target) {
  auto query = target.find('?');
  if (query == std::string::npos) return std::nullopt;
  auto at = target.find("params=", query);
  if (at == std::string::npos) return std::nullopt;
  return percentDecoded(std::string_view(target).substr(at + 7));
}

Value headersOf(const httplib::Request& request) {
  Value::Dictionary headers;
  for (const auto& [name, value] : request.headers) headers[name] = value;
  return headers;
}

void answerJson(httplib::Response& response, const Value& body, int status = 200) {
  response.status = status;
  response.set_content(json::serialize(body), "application/json");
}

}  // namespace

struct DevServer::Impl {
  explicit Impl(DevServerOptions o)
      : options(std::move(o)),
        project(options.project),
        store(options.storeFile.value_or((fs::path(options.project) / "devserver.sqlite").string())) {}

  DevServerOptions options;
  Project project;
  ServerStore store;
  std::unique_ptr<httplib::Server> server;
  std::thread thread;
  int port = 0;
  std::mutex faultMutex;
  Fault fault;  // guarded by faultMutex
  std::atomic<int> issues{0};
  // Set when the server stops, so that fault handlers that hold a connection let go.
  std::atomic<bool> stopping{false};

  // The signature over time stamp + text + time stamp, and the time stamp's form.
  bool signedCorrectly(const httplib::Request& request, const ProjectSnapshot& snapshot, const std::string& text,
                       bool cacheable) {
    std::string timestamp = request.get_header_value("timestamp");
    if (timestamp.empty() || timestamp.find_first_not_of("0123456789") != std::string::npos) return false;
    if (timestamp == kCacheableTimestamp && !cacheable) return false;
    if (timestamp != kCacheableTimestamp && options.maxClockSkewSeconds > 0) {
      long long now = std::chrono::duration_cast<std::chrono::seconds>(
                          std::chrono::system_clock::now().time_since_epoch())
                          .count();
      if (std::llabs(now - std::atoll(timestamp.c_str())) > options.maxClockSkewSeconds) return false;
    }
    return request.get_header_value("hmac") == hmacSha256Hex(snapshot.apiSecret, timestamp + text + timestamp);
  }

  // Loads the project and checks the app id of the path; answers the error itself.
  std::optional<ProjectSnapshot> projectFor(const httplib::Request& request, httplib::Response& response) {
    std::string error;
    auto snapshot = project.read(&error);
    if (!snapshot) {
      answerJson(response, Value::Dictionary{{"error", error}}, 500);
      return std::nullopt;
    }
    if (request.matches.size() < 2 || request.matches[1] != snapshot->appId) {
      answerJson(response, Value::Dictionary{{"error", "unknown app"}}, 404);
      return std::nullopt;
    }
    return snapshot;
  }

  void recordRequest(const httplib::Request& request, int status) {
    store.record("requests", Value::Dictionary{{"method", request.method},
                                               {"path", request.path},
                                               {"target", request.target},
                                               {"headers", headersOf(request)},
                                               {"body", request.body},
                                               {"status", status}});
  }

  void update(const httplib::Request& request, httplib::Response& response) {
    bool cacheable = request.method == "GET";
    auto snapshot = projectFor(request, response);
    if (!snapshot) return recordRequest(request, response.status);
    std::optional<std::string> text = cacheable ? rawParams(request.target) : std::optional(request.body);
    auto body = text ? json::parse(*text) : std::nullopt;
    if (!text || !signedCorrectly(request, *snapshot, *text, cacheable)) {
      answerJson(response, Value::Dictionary{{"error", "bad signature"}}, 401);
      return recordRequest(request, 401);
    }
    if (!body || !body->isDictionary()) {
      answerJson(response, Value::Dictionary{{"error", "request is no JSON object"}}, 400);
      return recordRequest(request, 400);
    }
    recordDelivery(request, *body, cacheable);
    if (applyFault(response)) return recordRequest(request, response.status);

    bool drafts = body->find("returnDraft") && body->find("returnDraft")->boolValue();
    const Value* requested = body->find("requestedData");
    Value::Dictionary data;
    // Every language of the project is listed, requested or not, and empty when nothing is
    // newer: a client marks each language missing from the answer as deleted, so an answer
    // that named only the requested ones would wipe the app's other shipped languages.
    for (const auto& [language, projectGroups] : snapshot->languages) {
      Value::Dictionary groups;
      const Value* versions = requested && requested->isDictionary() ? requested->find(language) : nullptr;
      if (versions && versions->isDictionary()) {
        for (const auto& [group, version] : versions->asDictionary()) {
          auto content = projectGroups.find(group);
          if (content == projectGroups.end()) continue;
          if (content->second.version <= version.numberAsInteger().value_or(-1)) continue;
          Value::Dictionary entries;
          for (const auto& [key, entry] : content->second.entries) {
            Value::Dictionary sent;
            if (const Value* v = entry.find("v")) sent["v"] = *v;
            if (const Value* d = entry.find("d"); d && drafts) sent["d"] = *d;
            entries[key] = sent;
          }
          groups[group] = Value::Dictionary{{"version", content->second.version}, {"entries", entries}};
        }
      }
      data[language] = groups;
    }
    const Value& settings = snapshot->settings;
    auto setting = [&](const char* key, Value fallback) {
      const Value* v = settings.find(key);
      return v ? *v : fallback;
    };
    answerJson(response, Value::Dictionary{{"__v", setting("version", 1)},
                                           {"baseLanguage", setting("baseLanguage", "en")},
                                           {"collectMissingEnabled", setting("collectMissingEnabled", true)},
                                           {"draftModeEnabled", setting("draftModeEnabled", true)},
                                           {"data", data}});
    recordRequest(request, 200);
  }

  void recordDelivery(const httplib::Request& request, const Value& body, bool cacheable) {
    Value::Dictionary profile{{"method", request.method}};
    for (const char* field : kProfileFields) {
      if (cacheable && request.has_header(field)) profile[field] = request.get_header_value(field);
      if (const Value* v = body.find(field); !cacheable && v) profile[field] = *v;
    }
    store.record("profiles", profile);
    const Value* missing = body.find("missingEntries");
    if (!missing || !missing->isDictionary()) return;
    for (const auto& [language, entries] : missing->asDictionary()) {
      if (!entries.isDictionary()) continue;
      for (const auto& [key, text] : entries.asDictionary()) {
        store.recordMissing(language, key, text.isString() ? text.asString() : text.description());
      }
    }
  }

  // Answers in the fault's place when one is armed; true then.
  bool applyFault(httplib::Response& response) {
    Fault armed;
    {
      std::lock_guard lock(faultMutex);
      if (fault.count <= 0) return false;
      --fault.count;
      armed = fault;
    }
    return answerWithFault(armed, response, stopping);
  }

  void screenTags(const httplib::Request& request, httplib::Response& response) {
    auto snapshot = projectFor(request, response);
    if (!snapshot) return;
    auto text = rawParams(request.target);
    if (!text || !signedCorrectly(request, *snapshot, *text, false)) {
      return answerJson(response, Value::Dictionary{{"error", "bad signature"}}, 401);
    }
    const Value* tags = snapshot->settings.find("screenTags");
    answerJson(response, tags && tags->isArray() ? *tags : Value(Value::Array{}));
  }

  // Read raw, not through the HTTP library's lenient multipart parser, so the body is checked
  // byte for byte.
  void uploadScreenshot(const httplib::Request& request, httplib::Response& response,
                        const httplib::ContentReader& reader) {
    std::string raw;
    reader([&raw](const char* data, std::size_t length) {
      raw.append(data, length);
      return true;
    });
    auto snapshot = projectFor(request, response);
    if (!snapshot) return;
    auto parsed = parseScreenshotUpload(uploadContentType(request),
                                        request.get_header_value("Content-Length"), raw);
    if (auto* error = std::get_if<std::string>(&parsed)) {
      return answerJson(response, Value::Dictionary{{"error", *error}}, 400);
    }
    auto& [png, body] = std::get<ScreenshotParts>(parsed);
    if (!signedCorrectly(request, *snapshot, body, false)) {
      return answerJson(response, Value::Dictionary{{"error", "bad signature"}}, 401);
    }
    auto json = json::parse(body);
    if (auto error = json ? screenshotBodyError(*json) : std::optional<std::string>("the string part is no JSON")) {
      return answerJson(response, Value::Dictionary{{"error", *error}}, 400);
    }
    std::int64_t number = store.count("screenshots") + 1;
    fs::path file = fs::path(options.project) / "screenshots" / (std::to_string(number) + ".png");
    std::error_code ec;
    fs::create_directories(file.parent_path(), ec);
    FILE* out = std::fopen(file.c_str(), "wb");
    if (out) {
      std::fwrite(png.data(), 1, png.size(), out);
      std::fclose(out);
    }
    store.record("screenshots", Value::Dictionary{{"file", file.string()},
                                                  {"bytes", static_cast<std::int64_t>(png.size())},
                                                  {"body", *json}});
    answerJson(response, Value::Dictionary{{"ok", true}});
  }

  void createIssue(const httplib::Request& request, httplib::Response& response) {
    auto snapshot = projectFor(request, response);
    if (!snapshot) return;
    if (!signedCorrectly(request, *snapshot, request.body, false)) {
      return answerJson(response, Value::Dictionary{{"error", "bad signature"}}, 401);
    }
    if (auto error = issueRequestError(request.get_header_value("Content-Type"),
                                       request.get_header_value("Content-Length"), request.body)) {
      return answerJson(response, Value::Dictionary{{"error", *error}}, 400);
    }
    std::string tag = "ISSUE-" + std::to_string(++issues);
    store.record("issues", Value::Dictionary{{"tag", tag}, {"body", json::parse(request.body).value_or(Value())}});
    answerJson(response, Value::Dictionary{{"tag", tag}});
  }

  void routes() {
    httplib::Server& s = *server;
    readUploadsRaw(s);
    s.Get(R"(/v4/mobile-apps/sdk/([^/]+))", [this](const auto& q, auto& r) { update(q, r); });
    s.Post(R"(/v4/mobile-apps/sdk/([^/]+))", [this](const auto& q, auto& r) { update(q, r); });
    s.Get(R"(/v3/mobile-apps/sdk/([^/]+)/screenTag)", [this](const auto& q, auto& r) { screenTags(q, r); });
    s.Post(R"(/v3/mobile-apps/sdk/([^/]+)/uploadScreenshot)",
           [this](const httplib::Request& q, httplib::Response& r, const httplib::ContentReader& reader) {
             uploadScreenshot(q, r, reader);
           });
    s.Post(R"(/v3/mobile-apps/sdk/([^/]+)/createJiraIssue)", [this](const auto& q, auto& r) { createIssue(q, r); });

    s.Get(R"(/_devserver/(requests|missing|profiles|screenshots|issues))", [this](const auto& q, auto& r) {
      answerJson(r, store.list(q.matches[1]));
    });
    s.Post("/_devserver/reset", [this](const auto&, auto& r) {
      store.clear();
      answerJson(r, Value::Dictionary{{"ok", true}});
    });
    s.Post("/_devserver/translations", [this](const auto& q, auto& r) {
      auto body = json::parse(q.body).value_or(Value());
      const Value* language = body.find("language");
      const Value* group = body.find("group");
      const Value* entries = body.find("entries");
      std::string error = "expected language, group and entries";
      if (language && language->isString() && group && group->isString() && entries && entries->isDictionary() &&
          project.publish(language->asString(), group->asString(), entries->asDictionary(), &error)) {
        return answerJson(r, Value::Dictionary{{"ok", true}});
      }
      answerJson(r, Value::Dictionary{{"error", error}}, 400);
    });
    s.Post("/_devserver/faults", [this](const auto& q, auto& r) {
      Fault armed = Fault::fromJson(json::parse(q.body).value_or(Value()));
      std::lock_guard lock(faultMutex);
      fault = armed;
      answerJson(r, Value::Dictionary{{"ok", true}});
    });
    s.Delete("/_devserver/faults", [this](const auto&, auto& r) {
      std::lock_guard lock(faultMutex);
      fault = Fault{};
      answerJson(r, Value::Dictionary{{"ok", true}});
    });
  }
};

DevServer::DevServer(DevServerOptions options) : impl_(std::make_unique<Impl>(std::move(options))) {}

DevServer::~DevServer() { stop(); }

bool DevServer::start(std::string* error) {
  Impl& d = *impl_;
  std::string probe;
  if (!d.project.read(&probe)) {
    *error = probe;
    return false;
  }
  if (d.options.tls) {
    std::string certificate = d.options.certificateFile.value_or((fs::path(d.options.project) / ".devserver-cert.pem").string());
    std::string key = d.options.keyFile.value_or((fs::path(d.options.project) / ".devserver-key.pem").string());
    if (!d.options.certificateFile && !writeSelfSignedCertificate(certificate, key, error)) return false;
    if (d.options.writeCaFile) {
      std::error_code ec;
      fs::copy_file(certificate, *d.options.writeCaFile, fs::copy_options::overwrite_existing, ec);
      if (ec) {
        *error = "cannot write " + *d.options.writeCaFile + ": " + ec.message();
        return false;
      }
    }
    d.server = std::make_unique<httplib::SSLServer>(certificate.c_str(), key.c_str());
  } else {
    d.server = std::make_unique<httplib::Server>();
  }
  if (!d.server->is_valid()) {
    *error = "the server could not be set up (certificate or key unusable)";
    return false;
  }
  if (d.options.port < 0 || d.options.port > 65535) {
    *error = "port " + std::to_string(d.options.port) + " is out of range (1-65535, or 0 for a free one)";
    return false;
  }
  d.routes();
  // The library's default also sets SO_REUSEPORT, which lets a second server share a port
  // that is in use and take half of its requests; only a port in TIME_WAIT may be reused.
  d.server->set_socket_options([](int socket) {
    int yes = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  });
  errno = 0;
  d.port = d.options.port == 0 ? d.server->bind_to_any_port(d.options.host)
                               : (d.server->bind_to_port(d.options.host, d.options.port) ? d.options.port : -1);
  if (d.port <= 0) {
    *error = "cannot listen on " + d.options.host + ":" + std::to_string(d.options.port) +
             (errno == EADDRINUSE ? ": the port is already in use" : errno ? std::string(": ") + std::strerror(errno) : "");
    return false;
  }
  d.thread = std::thread([server = d.server.get()] { server->listen_after_bind(); });
  // The library's stop() does nothing before its accept loop runs, and the loop would then
  // never end: a server stopped right after it started (tests do) hung its owner.
  while (!d.server->is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  return true;
}

void DevServer::stop() {
  if (!impl_->server) return;
  impl_->stopping = true;
  impl_->server->stop();
  if (impl_->thread.joinable()) impl_->thread.join();
  impl_->server.reset();
}

int DevServer::port() const { return impl_->port; }

std::string DevServer::baseUrl() const {
  return std::string(impl_->options.tls ? "https" : "http") + "://" + impl_->options.host + ":" + std::to_string(impl_->port);
}

}  // namespace tolvana::devserver
