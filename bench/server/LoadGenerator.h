// LoadGenerator: keeps N keep-alive HTTP/1.1 connections to one loopback server busy, on
// one thread with epoll, and records the latency of every exchange.
//
// Closed loop (rate 0): each connection sends its next request as soon as the answer to the
// last one is in, so the figure is what the server sustains at that concurrency. Open loop
// (rate > 0): requests are due at fixed intervals and their latency counts from when they
// were due, so a server that falls behind shows it in the percentiles instead of slowing
// the generator down with it.
//
//   LoadGenerator load({.port = 8080, .connections = 50, .seconds = 10},
//                      [](std::string& out) { out = "GET / HTTP/1.1\r\nHost: x\r\n\r\n"; });
//   LoadResult result = load.run();
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tolvana::bench {

struct LoadOptions {
  int port = 0;
  int connections = 1;
  double seconds = 10;
  double warmupSeconds = 1;  // exchanges in this first stretch are not counted
  double rate = 0;           // requests per second over all connections; 0: as fast as answered
};

struct LoadResult {
  std::uint64_t requests = 0;      // counted exchanges that ended with an answer
  std::uint64_t errors = 0;        // answers outside 2xx/304, broken connections, unparsable answers
  std::uint64_t bytes = 0;         // answer bodies received
  // Connections that got no answer in the counted stretch. Each exchange still waiting when
  // the run ends (and, open loop, each request never sent) counts as a latency sample of its
  // wait so far, so that connections a server never serves are not left out of the
  // percentiles.
  std::uint64_t starved = 0;
  double seconds = 0;              // the counted stretch
  std::vector<std::uint32_t> latenciesUs{};

  double requestsPerSecond() const { return seconds > 0 ? requests / seconds : 0; }
  // The latency at quantile q (0..1) in microseconds; 0 without samples.
  double percentileUs(double q) const;
};

class LoadGenerator {
 public:
  // Writes the bytes of the next request into its argument (which it may reuse); called once
  // per request, so a request may carry a fresh time stamp and signature.
  using RequestMaker = std::function<void(std::string&)>;

  LoadGenerator(LoadOptions options, RequestMaker makeRequest);
  LoadResult run();

 private:
  LoadOptions options_;
  RequestMaker makeRequest_;
};

}  // namespace tolvana::bench
