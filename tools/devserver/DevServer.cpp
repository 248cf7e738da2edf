#include "DevServer.h"

#include <httplib.h>
#include <zlib.h>

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

#include "Project.h"
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

struct Fault {
  int count = 0;
  int status = 0;
  std::optional<std::string> body;
  int delayMs = 0;
  bool truncateGzip = false;
  // A connection-level misbehaviour instead of an answer: "reset", "shortBody", "silent",
  // "drip", "endless", "gzipBomb" (see streamFault).
  std::string mode;
};

// The gzip stream of `total` zero bytes, made a piece at a time as the client reads, so that
// a bomb of gigabytes costs the server almost nothing when the client stops early.
class ZeroBomb {
 public:
  explicit ZeroBomb(std::uint64_t total) : left_(total) {
    deflateInit2(&stream_, Z_BEST_COMPRESSION, Z_DEFLATED, 31, 9, Z_DEFAULT_STRATEGY);
  }
  ~ZeroBomb() { deflateEnd(&stream_); }
  ZeroBomb(const ZeroBomb&) = delete;
  ZeroBomb& operator=(const ZeroBomb&) = delete;

  // The next compressed piece; empty once the stream has ended.
  std::string next() {
    static const std::string zeros(1 << 20, '\0');
    if (finished_) return {};
    std::string out;
    char buffer[16384];
    do {
      auto take = static_cast<uInt>(std::min<std::uint64_t>(left_, zeros.size()));
      stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(zeros.data()));
      stream_.avail_in = take;
      left_ -= take;
      int flush = left_ == 0 ? Z_FINISH : Z_NO_FLUSH;
      do {
        stream_.next_out = reinterpret_cast<Bytef*>(buffer);
        stream_.avail_out = sizeof buffer;
        finished_ = deflate(&stream_, flush) == Z_STREAM_END;
        out.append(buffer, sizeof buffer - stream_.avail_out);
      } while (stream_.avail_out == 0);
    } while (out.empty() && !finished_);
    return out;
  }

 private:
  z_stream stream_{};
  std::uint64_t left_;
  bool finished_ = false;
};

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

std::string gzipped(const std::string& data) {
  z_stream stream{};
  deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, 31, 8, Z_DEFAULT_STRATEGY);
  std::string out(deflateBound(&stream, data.size()) + 32, '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
  stream.avail_in = static_cast<uInt>(data.size());
  stream.next_out = reinterpret_cast<Bytef*>(out.data());
  stream.avail_out = static_cast<uInt>(out.size());
  deflate(&stream, Z_FINISH);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  return out;
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
    if (!armed.mode.empty()) return streamFault(armed, response);
    if (armed.delayMs > 0) std::this_thread::sleep_for(std::chrono::milliseconds(armed.delayMs));
    if (armed.truncateGzip) {
      std::string zipped = gzipped(R"({"__v":1,"baseLanguage":"en","data":{}})");
      response.status = 200;
      response.set_header("Content-Encoding", "gzip");
      // Not a compressible type, so the server sends the cut stream as it is.
      response.set_content(zipped.substr(0, zipped.size() / 2), "application/octet-stream");
      return true;
    }
    if (armed.status == 0 && !armed.body && armed.delayMs > 0) return false;  // only slow
    response.status = armed.status ? armed.status : 200;
    response.set_content(armed.body.value_or(""), "text/plain");
    return true;
  }

  // Faults of the connection rather than of the answer. Each gives up when the client goes
  // away or the server stops, so none keeps a worker busy after its test.
  bool streamFault(const Fault& armed, httplib::Response& response) {
    auto pause = std::chrono::milliseconds(armed.delayMs > 0 ? armed.delayMs : 200);
    const std::atomic<bool>* stop = &stopping;
    // Bodies go out as octet streams: the server would gzip a JSON type for a client that
    // accepts it, and its compressor would hold back the dripped bytes.
    response.status = 200;
    if (armed.mode == "reset") {
      // The status line and headers go out, then the connection ends before a byte of body.
      response.set_chunked_content_provider("application/octet-stream", [](std::size_t, httplib::DataSink&) { return false; });
    } else if (armed.mode == "shortBody") {
      // Fewer bytes than the announced length, then the connection ends.
      response.set_content_provider(1000, "application/octet-stream", [](std::size_t, std::size_t, httplib::DataSink& sink) {
        sink.write(R"({"__v":1,"data":{)", 17);
        return false;
      });
    } else if (armed.mode == "silent") {
      // Reads the request and never answers (until the server stops, or a minute passes).
      auto until = std::chrono::steady_clock::now() + std::chrono::minutes(1);
      while (!stopping && std::chrono::steady_clock::now() < until) std::this_thread::sleep_for(std::chrono::milliseconds(20));
      response.set_content("", "text/plain");
    } else if (armed.mode == "drip") {
      // One byte per pause, for ever: never idle long enough to time out a single read.
      response.set_chunked_content_provider("application/octet-stream", [stop, pause](std::size_t, httplib::DataSink& sink) {
        std::this_thread::sleep_for(pause);
        return !*stop && sink.write(" ", 1);
      });
    } else if (armed.mode == "endless") {
      response.set_chunked_content_provider("application/octet-stream", [stop](std::size_t, httplib::DataSink& sink) {
        static const std::string blanks(64 * 1024, ' ');
        return !*stop && sink.write(blanks.data(), blanks.size());
      });
    } else if (armed.mode == "gzipBomb") {
      // About 4 MB on the wire that unpack to 4 GiB of zeros.
      auto bomb = std::make_shared<ZeroBomb>(std::uint64_t{4} << 30);
      response.set_header("Content-Encoding", "gzip");
      response.set_chunked_content_provider("application/octet-stream", [stop, bomb](std::size_t, httplib::DataSink& sink) {
        std::string piece = bomb->next();
        if (piece.empty()) {
          sink.done();
          return true;
        }
        return !*stop && sink.write(piece.data(), piece.size());
      });
    } else {
      response.status = 400;
      response.set_content("unknown fault mode " + armed.mode, "text/plain");
    }
    return true;
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

  void uploadScreenshot(const httplib::Request& request, httplib::Response& response) {
    auto snapshot = projectFor(request, response);
    if (!snapshot) return;
    if (!request.is_multipart_form_data() || !request.has_file("file") || !request.has_file("stringBody")) {
      return answerJson(response, Value::Dictionary{{"error", "expected the parts file and stringBody"}}, 400);
    }
    std::string body = request.get_file_value("stringBody").content;
    if (!signedCorrectly(request, *snapshot, body, false)) {
      return answerJson(response, Value::Dictionary{{"error", "bad signature"}}, 401);
    }
    std::string png = request.get_file_value("file").content;
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
                                                  {"body", json::parse(body).value_or(Value(body))}});
    answerJson(response, Value::Dictionary{{"ok", true}});
  }

  void createIssue(const httplib::Request& request, httplib::Response& response) {
    auto snapshot = projectFor(request, response);
    if (!snapshot) return;
    if (!signedCorrectly(request, *snapshot, request.body, false)) {
      return answerJson(response, Value::Dictionary{{"error", "bad signature"}}, 401);
    }
    std::string tag = "ISSUE-" + std::to_string(++issues);
    store.record("issues", Value::Dictionary{{"tag", tag}, {"body", json::parse(request.body).value_or(Value())}});
    answerJson(response, Value::Dictionary{{"tag", tag}});
  }

  void routes() {
    httplib::Server& s = *server;
    s.Get(R"(/v4/mobile-apps/sdk/([^/]+))", [this](const auto& q, auto& r) { update(q, r); });
    s.Post(R"(/v4/mobile-apps/sdk/([^/]+))", [this](const auto& q, auto& r) { update(q, r); });
    s.Get(R"(/v3/mobile-apps/sdk/([^/]+)/screenTag)", [this](const auto& q, auto& r) { screenTags(q, r); });
    s.Post(R"(/v3/mobile-apps/sdk/([^/]+)/uploadScreenshot)", [this](const auto& q, auto& r) { uploadScreenshot(q, r); });
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
      auto body = json::parse(q.body).value_or(Value());
      Fault armed;
      auto integer = [&](const char* key) { return body.find(key) ? body.find(key)->numberAsInteger().value_or(0) : 0; };
      armed.count = static_cast<int>(body.find("count") ? integer("count") : 1);
      armed.status = static_cast<int>(integer("status"));
      armed.delayMs = static_cast<int>(integer("delayMs"));
      if (const Value* text = body.find("body"); text && text->isString()) armed.body = text->asString();
      armed.truncateGzip = body.find("truncateGzip") && body.find("truncateGzip")->boolValue();
      if (const Value* mode = body.find("mode"); mode && mode->isString()) armed.mode = mode->asString();
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
