#include "LoadGenerator.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <deque>
#include <stdexcept>

namespace tolvana::bench {

namespace {

using Clock = std::chrono::steady_clock;

struct Connection {
  int fd = -1;
  bool connected = false;
  bool busy = false;
  std::uint64_t answered = 0;  // in the counted stretch
  std::string out;
  std::size_t written = 0;
  std::string in;
  Clock::time_point due;  // when the exchange in flight began to count
};

// One answer at the front of the buffer: its length in bytes, its status, whether the server
// closes afterwards. Zero length while incomplete; -1 when it cannot be read.
struct Answer {
  long long length = 0;
  int status = 0;
  bool closes = false;
  std::size_t body = 0;
};

bool hasHeader(std::string_view head, std::string_view lowerName, std::string_view lowerValue) {
  std::string lower(head);
  std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
  auto at = lower.find(std::string("\r\n") + std::string(lowerName) + ":");
  if (at == std::string::npos) return false;
  auto end = lower.find("\r\n", at + 2);
  return lower.substr(at, end - at).find(lowerValue) != std::string::npos;
}

Answer parseAnswer(const std::string& in) {
  Answer answer;
  auto headEnd = in.find("\r\n\r\n");
  if (headEnd == std::string::npos) return answer;
  std::string_view head(in.data(), headEnd);
  if (!head.starts_with("HTTP/1.") || head.size() < 12) return {.length = -1};
  std::from_chars(head.data() + 9, head.data() + 12, answer.status);
  std::string lower(head);
  std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
  long long bodyLength = 0;
  if (auto at = lower.find("\r\ncontent-length:"); at != std::string::npos) {
    auto digits = lower.find_first_of("0123456789", at);
    std::from_chars(lower.data() + digits, lower.data() + lower.size(), bodyLength);
  } else if (answer.status != 304 && answer.status != 204) {
    return {.length = -1};  // chunked or close-delimited: neither server under test sends those
  }
  answer.closes = hasHeader(head, "connection", "close");
  answer.body = static_cast<std::size_t>(bodyLength);
  long long total = static_cast<long long>(headEnd) + 4 + bodyLength;
  answer.length = static_cast<long long>(in.size()) >= total ? total : 0;
  return answer;
}

class Run {
 public:
  Run(const LoadOptions& options, const LoadGenerator::RequestMaker& makeRequest)
      : options_(options), makeRequest_(makeRequest), connections_(options.connections) {
    epoll_ = epoll_create1(0);
    if (epoll_ < 0) throw std::runtime_error("epoll_create1 failed");
  }
  ~Run() {
    for (auto& c : connections_) closeConnection(c);
    ::close(epoll_);
  }

  LoadResult go() {
    start_ = Clock::now();
    countFrom_ = start_ + toDuration(options_.warmupSeconds);
    end_ = countFrom_ + toDuration(options_.seconds);
    nextDue_ = start_;
    for (auto& c : connections_) open(c);
    epoll_event events[256];
    while (Clock::now() < end_) {
      releaseDueRequests();
      int waitMs = options_.rate > 0 ? 1 : 100;
      int ready = epoll_wait(epoll_, events, 256, waitMs);
      for (int i = 0; i < ready; ++i) handle(connections_[events[i].data.u32], events[i].events);
    }
    countUnfinished();
    result_.seconds = options_.seconds;
    return std::move(result_);
  }

 private:
  static Clock::duration toDuration(double seconds) {
    return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
  }

  void open(Connection& c) {
    std::uint64_t answered = c.answered;
    c = Connection{};
    c.answered = answered;
    c.fd = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    int yes = 1;
    setsockopt(c.fd, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(options_.port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::connect(c.fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
    epoll_event event{};
    event.events = EPOLLIN | EPOLLOUT;
    event.data.u32 = static_cast<std::uint32_t>(&c - connections_.data());
    epoll_ctl(epoll_, EPOLL_CTL_ADD, c.fd, &event);
  }

  void closeConnection(Connection& c) {
    if (c.fd >= 0) ::close(c.fd);
    c.fd = -1;
  }

  void reopen(Connection& c) {
    bool wasBusy = c.busy;
    Clock::time_point due = c.due;
    closeConnection(c);
    open(c);
    // The exchange that broke is counted as an error; an open-loop request keeps its due time.
    if (wasBusy && options_.rate > 0) pending_.push_front(due);
  }

  void send(Connection& c, Clock::time_point due) {
    makeRequest_(c.out);
    c.written = 0;
    c.busy = true;
    c.due = due;
    flush(c);
  }

  void flush(Connection& c) {
    while (c.written < c.out.size()) {
      ssize_t n = ::send(c.fd, c.out.data() + c.written, c.out.size() - c.written, MSG_NOSIGNAL);
      if (n > 0) {
        c.written += static_cast<std::size_t>(n);
      } else {
        if (n < 0 && errno != EAGAIN) fail(c);
        return;
      }
    }
  }

  void fail(Connection& c) {
    if (c.busy && Clock::now() >= countFrom_) ++result_.errors;
    reopen(c);
  }

  void handle(Connection& c, std::uint32_t events) {
    if (events & (EPOLLERR | EPOLLHUP) && !(events & EPOLLIN)) return fail(c);
    if (!c.connected && (events & EPOLLOUT)) {
      c.connected = true;
      epoll_event event{};
      event.events = EPOLLIN;
      event.data.u32 = static_cast<std::uint32_t>(&c - connections_.data());
      epoll_ctl(epoll_, EPOLL_CTL_MOD, c.fd, &event);
      if (options_.rate <= 0) send(c, Clock::now());
      else assignPending();
    }
    if (c.busy && c.written < c.out.size()) flush(c);
    if (events & EPOLLIN) readAnswers(c);
  }

  void readAnswers(Connection& c) {
    char buffer[65536];
    bool closed = false;
    for (;;) {
      ssize_t n = ::recv(c.fd, buffer, sizeof buffer, 0);
      if (n > 0) {
        c.in.append(buffer, static_cast<std::size_t>(n));
      } else if (n == 0) {
        closed = true;  // what came before the end is still an answer
        break;
      } else if (errno == EAGAIN) {
        break;
      } else {
        return fail(c);
      }
    }
    Answer answer = parseAnswer(c.in);
    if (answer.length < 0) return fail(c);
    if (answer.length == 0) return closed ? fail(c) : void();
    auto now = Clock::now();
    if (c.due >= countFrom_ && now < end_) {
      bool ok = (answer.status >= 200 && answer.status < 300) || answer.status == 304;
      ++(ok ? result_.requests : result_.errors);
      if (ok) ++c.answered;
      result_.bytes += answer.body;
      auto us = std::chrono::duration_cast<std::chrono::microseconds>(now - c.due).count();
      if (ok) result_.latenciesUs.push_back(static_cast<std::uint32_t>(std::min<long long>(us, UINT32_MAX)));
    }
    c.in.erase(0, static_cast<std::size_t>(answer.length));
    c.busy = false;
    if (answer.closes || closed) return reopen(c);
    if (options_.rate <= 0) send(c, now);
    else assignPending();
  }

  void countUnfinished() {
    auto now = Clock::now();
    // A request waiting since before the counted stretch still counts: a server that never
    // lets a connection in must not look faster for it.
    auto sample = [&](Clock::time_point due) {
      auto us = std::chrono::duration_cast<std::chrono::microseconds>(now - due).count();
      result_.latenciesUs.push_back(static_cast<std::uint32_t>(std::min<long long>(us, UINT32_MAX)));
    };
    for (const auto& c : connections_) {
      if (c.answered == 0) ++result_.starved;
      if (c.busy) sample(c.due);
      else if (!c.connected && options_.rate <= 0) sample(start_);  // never let in
    }
    for (auto due : pending_) sample(due);
  }

  void releaseDueRequests() {
    if (options_.rate <= 0) return;
    auto interval = toDuration(1.0 / options_.rate);
    for (auto now = Clock::now(); nextDue_ <= now; nextDue_ += interval) pending_.push_back(nextDue_);
    assignPending();
  }

  void assignPending() {
    for (auto& c : connections_) {
      if (pending_.empty()) return;
      if (c.connected && !c.busy) {
        Clock::time_point due = pending_.front();
        pending_.pop_front();
        send(c, due);
      }
    }
  }

  const LoadOptions& options_;
  const LoadGenerator::RequestMaker& makeRequest_;
  std::vector<Connection> connections_;
  int epoll_ = -1;
  Clock::time_point start_, countFrom_, end_, nextDue_;
  std::deque<Clock::time_point> pending_;
  LoadResult result_;
};

}  // namespace

double LoadResult::percentileUs(double q) const {
  if (latenciesUs.empty()) return 0;
  std::vector<std::uint32_t> sorted = latenciesUs;
  auto at = static_cast<std::size_t>(q * static_cast<double>(sorted.size() - 1));
  std::nth_element(sorted.begin(), sorted.begin() + static_cast<long>(at), sorted.end());
  return sorted[at];
}

LoadGenerator::LoadGenerator(LoadOptions options, RequestMaker makeRequest)
    : options_(options), makeRequest_(std::move(makeRequest)) {}

LoadResult LoadGenerator::run() {
  Run run(options_, makeRequest_);
  return run.go();
}

}  // namespace tolvana::bench
