#include "TestFixture.h"

#include <zlib.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <thread>

#include "api/Gzip.h"
#include "api/HttpAnswers.h"
#include "support/Json.h"

namespace tolvana::server {

namespace {

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

using Fault = TestFixture::Fault;

bool streamFault(const Fault& armed, httplib::Response& response, const std::atomic<bool>& stopping);

Fault faultOf(const Value& body) {
  Fault armed;
  auto integer = [&](const char* key) { return body.find(key) ? body.find(key)->numberAsInteger().value_or(0) : 0; };
  armed.count = static_cast<int>(body.find("count") ? integer("count") : 1);
  armed.status = static_cast<int>(integer("status"));
  armed.delayMs = static_cast<int>(integer("delayMs"));
  if (const Value* text = body.find("body"); text && text->isString()) armed.body = text->asString();
  armed.truncateGzip = body.find("truncateGzip") && body.find("truncateGzip")->boolValue();
  if (const Value* mode = body.find("mode"); mode && mode->isString()) armed.mode = mode->asString();
  return armed;
}

bool answerWithFault(const Fault& armed, httplib::Response& response, const std::atomic<bool>& stopping) {
  if (!armed.mode.empty()) return streamFault(armed, response, stopping);
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
bool streamFault(const Fault& armed, httplib::Response& response, const std::atomic<bool>& stopping) {
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

}  // namespace

void TestFixture::addRoutes(httplib::Server& server) {
  server.Post("/_test/faults", [this](const httplib::Request& request, httplib::Response& response) {
    Fault fault = faultOf(json::parse(request.body).value_or(Value::Dictionary{}));
    if (request.body.empty() || request.body == "{}") fault.count = 0;
    std::lock_guard lock(mutex_);
    armed_ = fault;
    answerJson(response, Value::Dictionary{{"ok", true}});
  });
  server.Get("/_test/requests", [this](const httplib::Request&, httplib::Response& response) {
    std::lock_guard lock(mutex_);
    answerJson(response, requests_);
  });
}

bool TestFixture::answerInstead(httplib::Response& response) {
  Fault armed;
  {
    std::lock_guard lock(mutex_);
    if (armed_.count <= 0) return false;
    --armed_.count;
    armed = armed_;
  }
  return answerWithFault(armed, response, stopping_);
}

void TestFixture::answered(const httplib::Request& request, const httplib::Response& response) {
  Value::Dictionary headers;
  for (const auto& [name, value] : request.headers) headers[name] = value;
  std::lock_guard lock(mutex_);
  requests_.push_back(Value::Dictionary{{"method", request.method},
                                        {"path", request.path},
                                        {"target", request.target},
                                        {"headers", headers},
                                        {"body", request.body},
                                        {"status", response.status}});
}

}  // namespace tolvana::server
