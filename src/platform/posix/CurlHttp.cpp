#include "platform/posix/CurlHttp.h"

#include <curl/curl.h>
#include <zlib.h>

#include <algorithm>
#include <chrono>
#include <cctype>
#include <map>
#include <memory>
#include <mutex>

#include "platform/PlatformLog.h"
#include "support/Boundary.h"

namespace tolvana {

namespace {

std::string lowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
  return text;
}

// Undoes a gzip or zlib content encoding as the body arrives. curl's own decoding takes a
// compressed stream that stops short of its end for a whole answer, so a cut answer would
// pass for a short one.
class Inflater {
 public:
  Inflater() { ready_ = inflateInit2(&stream_, 15 + 32) == Z_OK; }  // +32: either header
  ~Inflater() { inflateEnd(&stream_); }
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;

  // Hands each decoded piece to keep, which returns false to stop; false on a broken stream.
  template <class Keep>
  bool feed(const char* data, std::size_t size, Keep&& keep) {
    stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data));
    stream_.avail_in = static_cast<uInt>(size);
    char buffer[64 * 1024];
    while (ready_ && !finished_) {
      stream_.next_out = reinterpret_cast<Bytef*>(buffer);
      stream_.avail_out = sizeof buffer;
      int status = inflate(&stream_, Z_NO_FLUSH);
      if (status != Z_OK && status != Z_STREAM_END && status != Z_BUF_ERROR) return false;
      if (!keep(buffer, sizeof buffer - stream_.avail_out)) return false;
      finished_ = status == Z_STREAM_END;
      if (status == Z_BUF_ERROR || (stream_.avail_in == 0 && stream_.avail_out != 0)) break;
    }
    return ready_;
  }
  bool finished() const { return finished_; }

 private:
  z_stream stream_{};
  bool ready_ = false, finished_ = false;
};

// The answer as it is decoded, up to a bound: an endless or highly compressed body would
// otherwise grow until the process runs out of memory.
struct BodySink {
  std::string* body;
  const std::map<std::string, std::string>* headers;
  std::size_t limit;
  const std::function<void(std::size_t)>* onGrowth;
  bool overflowed = false;
  bool started = false;
  bool failed = false;  // something threw while the body was kept (memory, the observer)
  std::unique_ptr<Inflater> inflater{};
  std::optional<std::string> undecodable{};  // why the body could not be decoded

  bool keep(const char* data, std::size_t size) {
    if (size > limit - body->size()) {
      overflowed = true;
      return false;
    }
    body->append(data, size);
    if (*onGrowth && size > 0) (*onGrowth)(body->size());
    return true;
  }
  // The headers are complete once the body starts.
  bool start() {
    started = true;
    auto found = headers->find("content-encoding");
    std::string encoding = found == headers->end() ? "" : lowerCase(found->second);
    if (encoding == "gzip" || encoding == "x-gzip" || encoding == "deflate") {
      inflater = std::make_unique<Inflater>();
    } else if (!encoding.empty() && encoding != "identity") {
      undecodable = "the answer's content encoding " + encoding + " is not supported";
    }
    return !undecodable;
  }
};

// libcurl calls these from C: nothing may be thrown through it. A failure inside ends the
// transfer (a short count does that) and is reported as the request's own.
size_t collectBody(char* data, size_t size, size_t count, void* user) noexcept {
  auto* sink = static_cast<BodySink*>(user);
  auto fail = [sink] {
    sink->failed = true;
    return size_t{0};
  };
  return guarded("Keeping the answer", fail, [&] {
    if (!sink->started && !sink->start()) return size_t{0};
    auto keep = [sink](const char* piece, std::size_t length) { return sink->keep(piece, length); };
    bool kept = sink->inflater ? sink->inflater->feed(data, size * count, keep) : keep(data, size * count);
    if (!kept && !sink->overflowed) sink->undecodable = "the answer's compressed body is broken";
    // Anything short of the full count makes curl end the transfer with an error.
    return kept ? size * count : size_t{0};
  }, platformFailureLine);
}

size_t collectHeader(char* data, size_t size, size_t count, void* user) noexcept {
  auto* headers = static_cast<std::map<std::string, std::string>*>(user);
  return guarded("Keeping the answer's headers", size_t{0}, [&] {
    std::string line(data, size * count);
    // A new status line starts the headers of the next response (after a redirect or 100).
    if (line.rfind("HTTP/", 0) == 0) headers->clear();
    if (auto colon = line.find(':'); colon != std::string::npos) {
      std::string value = line.substr(colon + 1);
      value.erase(0, value.find_first_not_of(" \t"));
      value.erase(value.find_last_not_of("\r\n \t") + 1);
      (*headers)[lowerCase(line.substr(0, colon))] = value;
    }
    return size * count;
  }, platformFailureLine);
}

// The request time-out is an idle limit, as clients of the platform know it: a transfer
// fails when neither a byte goes out nor one comes in for that long, waiting for the first
// byte of the answer included (curl's own low-speed limit only counts once data flows).
struct IdleWatch {
  std::chrono::steady_clock::time_point lastActivity = std::chrono::steady_clock::now();
  curl_off_t lastDown = 0, lastUp = 0;
  std::chrono::milliseconds limit;
};

int checkIdle(void* user, curl_off_t, curl_off_t downloaded, curl_off_t, curl_off_t uploaded) noexcept {
  auto* watch = static_cast<IdleWatch*>(user);
  auto now = std::chrono::steady_clock::now();
  if (downloaded != watch->lastDown || uploaded != watch->lastUp) {
    watch->lastDown = downloaded;
    watch->lastUp = uploaded;
    watch->lastActivity = now;
    return 0;
  }
  return now - watch->lastActivity > watch->limit ? 1 : 0;
}

HttpResponse::Failure failureOf(CURLcode result) {
  switch (result) {
    case CURLE_COULDNT_CONNECT: return HttpResponse::Failure::connectionRefused;
    case CURLE_OPERATION_TIMEDOUT:
    case CURLE_ABORTED_BY_CALLBACK: return HttpResponse::Failure::timedOut;  // the idle watch
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE: return HttpResponse::Failure::certificateNotTrusted;
    default: return HttpResponse::Failure::other;
  }
}

struct EasyCleanup {
  void operator()(CURL* curl) const { curl_easy_cleanup(curl); }
};
struct ListFree {
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using Easy = std::unique_ptr<CURL, EasyCleanup>;
using HeaderList = std::unique_ptr<curl_slist, ListFree>;

// False when libcurl could not take the line; the list stays as it was.
bool append(HeaderList& list, const std::string& line) {
  curl_slist* head = curl_slist_append(list.get(), line.c_str());
  if (!head) return false;
  [[maybe_unused]] curl_slist* same = list.release();
  list.reset(head);
  return true;
}

HttpResponse failedResponse(std::string error) {
  HttpResponse response;
  response.error = std::move(error);
  response.failure = HttpResponse::Failure::other;
  return response;
}

class CurlHttp final : public Http {
 public:
  CurlHttp(std::shared_ptr<Dispatch> dispatch, CurlHttpOptions options)
      : dispatch_(std::move(dispatch)), options_(std::move(options)) {}

  void send(HttpRequest request, std::function<void(HttpResponse)> completion) override {
    // At the first request rather than with the platform: setting up TLS costs about a
    // millisecond that an app's start need not wait for. On the sender's thread, not a
    // request's: a process that exits while a request thread sets TLS up would tear it down
    // under that thread.
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
    auto session = dispatch_->makeSerialQueue("tolvana.http.session");
    // Not the client, which the host may release meanwhile; the dispatch though, so that a
    // released client's request still runs and completes (a dispatch whose last reference
    // goes with this task detaches the thread it is on).
    session->async([dispatch = dispatch_, options = options_, session, request = std::move(request),
                    completion = std::move(completion)]() mutable {
      // Whatever happens to the transfer, the completion runs once.
      HttpResponse response = guarded(
          "A request", [] { return failedResponse("the request failed inside the client"); },
          [&] { return perform(request, options); }, platformFailureLine);
      if (completion) completion(std::move(response));
    });
  }

 private:
  static HttpResponse perform(const HttpRequest& request, const CurlHttpOptions& options) {
    HttpResponse response;
    Easy handle(curl_easy_init());
    CURL* curl = handle.get();
    if (!curl) return failedResponse("could not create a transfer");
    char errorBuffer[CURL_ERROR_SIZE] = {};
    HeaderList headers;
    bool listed = true;
    for (const auto& [name, value] : request.headers) listed = listed && append(headers, name + ": " + value);
    // Without this curl would send "Expect: 100-continue" for larger bodies and wait.
    if (!listed || !append(headers, "Expect:")) return failedResponse("could not list the request's headers");
    curl_easy_setopt(curl, CURLOPT_URL, request.url.c_str());
    curl_easy_setopt(curl, CURLOPT_HTTP_CONTENT_DECODING, 0L);  // BodySink decodes
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers.get());
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, errorBuffer);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 2L);
    if (options.extraCaFile) {
      curl_easy_setopt(curl, CURLOPT_CAINFO, options.extraCaFile->c_str());
      curl_easy_setopt(curl, CURLOPT_CAPATH, "/etc/ssl/certs");
    }
    curl_easy_setopt(curl, CURLOPT_PROXY, options.proxy ? options.proxy->c_str() : "");
    if (request.method == "GET") {
      curl_easy_setopt(curl, CURLOPT_HTTPGET, 1L);
    } else {
      curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, request.method.c_str());
      curl_easy_setopt(curl, CURLOPT_POSTFIELDS, request.body.data());
      curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
    }
    auto millis = [](double seconds) { return static_cast<long>(std::clamp(seconds, 0.001, 2.0e6) * 1000); };
    curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT_MS, millis(request.requestTimeout));
    curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, millis(request.resourceTimeout));
    IdleWatch idle{.limit = std::chrono::milliseconds(millis(request.requestTimeout))};
    curl_easy_setopt(curl, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(curl, CURLOPT_XFERINFOFUNCTION, checkIdle);
    curl_easy_setopt(curl, CURLOPT_XFERINFODATA, &idle);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, collectBody);
    BodySink sink{.body = &response.body, .headers = &response.headers, .limit = options.maxBodyBytes,
                  .onGrowth = &options.onBodyBytes};
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &sink);
    curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, collectHeader);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, &response.headers);

    CURLcode result = curl_easy_perform(curl);
    if (result == CURLE_OK && sink.inflater && !sink.inflater->finished()) {
      sink.undecodable = "the answer's compressed body ends before its stream does";
    }
    if (sink.failed && !sink.undecodable) sink.undecodable = "the answer could not be kept";
    if (result != CURLE_OK || sink.undecodable) {
      response.failure = sink.overflowed || sink.undecodable ? HttpResponse::Failure::other : failureOf(result);
      response.error = sink.overflowed ? "the answer is larger than " + std::to_string(options.maxBodyBytes) + " bytes"
                       : sink.undecodable ? *sink.undecodable
                       : result == CURLE_ABORTED_BY_CALLBACK
                           ? "the request timed out"
                           : std::string(curl_easy_strerror(result)) + (errorBuffer[0] ? std::string(": ") + errorBuffer : "");
      response.status = 0;
      response.body.clear();
    } else {
      long status = 0;
      curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
      response.status = static_cast<int>(status);
    }
    return response;
  }

  std::shared_ptr<Dispatch> dispatch_;
  CurlHttpOptions options_;
};

}  // namespace

std::shared_ptr<Http> makeCurlHttp(std::shared_ptr<Dispatch> dispatch, CurlHttpOptions options) {
  return std::make_shared<CurlHttp>(std::move(dispatch), std::move(options));
}

}  // namespace tolvana
