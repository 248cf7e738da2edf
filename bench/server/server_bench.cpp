// server_bench: tolvana-server under load from many devices, against nginx serving the same
// answer bytes as static files on loopback in the same run: the cost of HTTP alone.
//
// Two answers: (a) an update that finds nothing new (every language empty), and (b) one
// that brings a group of about 100 KB on the wire. Each is asked for as devices ask, with
// the cacheable GET, its fixed time stamp and signature, the device profile in headers
// (a thousand devices taking turns) and gzip accepted; nginx gets the same headers. Each
// runs at 1, 50 and 500 connections against nginx, the server on SQLite and the server on
// PostgreSQL. Then each backend is soaked at 200 requests/s: no error, and resident memory at
// the end within 10% of what it was after the first 10 s.
//
//   server_bench [--seconds 5] [--rounds 3] [--soak 120] [--threads 64] [--smoke]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <thread>

#include "Contestants.h"
#include "LoadGenerator.h"
#include "support/Hmac.h"
#include "support/Json.h"
#include "tests/support/TempDir.h"

namespace fs = std::filesystem;
using namespace tolvana;
using namespace tolvana::bench;

namespace {

const std::string kSecret = "bench-secret-0123456789";

// A project whose group "big" in German answers with about 100 KB of gzip on the wire: texts
// of random words, which gzip shrinks about as much as real translations.
void writeProject(const std::string& dir) {
  fs::create_directories(dir);
  std::ofstream(dir + "/project.json") << R"({"appId":"bench-app","apiSecret":")" << kSecret
                                       << R"(","baseLanguage":"en","version":1})";
  for (const char* language : {"de", "en", "fr"}) {
    fs::create_directories(dir + "/translations/" + language);
    std::ofstream(dir + "/translations/" + language + "/main.json")
        << R"({"version":1,"entries":{"title":{"v":"Title )" << language << R"("}}})";
  }
  std::mt19937 random(7);
  std::uniform_int_distribution<int> letter('a', 'z'), length(2, 9), words(4, 14);
  Value::Dictionary entries;
  for (int i = 0; i < 2350; ++i) {
    std::string text;
    for (int w = words(random); w > 0; --w) {
      for (int l = length(random); l > 0; --l) text += static_cast<char>(letter(random));
      text += ' ';
    }
    entries["screen" + std::to_string(i % 40) + ".label" + std::to_string(i)] = Value::Dictionary{{"v", text}};
  }
  std::ofstream(dir + "/translations/de/big.json") << json::serialize(Value::Dictionary{{"version", 1}, {"entries", entries}});
}

std::string percentEncoded(const std::string& text) {
  static const char* hex = "0123456789ABCDEF";
  std::string out;
  for (unsigned char c : text) {
    if (std::isalnum(c) || c == '-' || c == '.' || c == '_' || c == '~' || c == ':' || c == ',') {
      out += static_cast<char>(c);
    } else {
      out.append({'%', hex[c >> 4], hex[c & 15]});
    }
  }
  return out;
}

// The request bytes of each of a thousand devices asking params, for path (the server's
// update endpoint, or nginx's file).
std::vector<std::string> deviceRequests(const std::string& params, const std::string& path) {
  const std::string stamp = "213374411";
  std::string head = "GET " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\nAccept-Encoding: gzip\r\nAccept: */*\r\n" +
                     "Content-Type: application/json\r\ntimestamp: " + stamp + "\r\nhmac: " +
                     hmacSha256Hex(kSecret, stamp + params + stamp) + "\r\nlastversion: 1\r\n" +
                     "deviceModel: x86_64\r\ngenuine: YES\r\nplatform: ios\r\noperatingSystem: iOS 17.4\r\n" +
                     "bundleIdentifier: com.example.bench\r\nbundleVersion: 1.0\r\ndeviceLanguage: de\r\n" +
                     "deviceLanguageLong: de-DE\r\ndeviceLocale: de-DE\r\nsdkVersion: 2.0.149\r\n";
  std::vector<std::string> requests;
  for (int device = 0; device < 1000; ++device) {
    requests.push_back(head + "did: 00000000-0000-4000-8000-" + std::to_string(100000000000 + device) + "\r\n\r\n");
  }
  return requests;
}

LoadResult load(int port, int connections, double seconds, double rate, const std::vector<std::string>& requests) {
  std::size_t next = 0;
  LoadGenerator generator({.port = port, .connections = connections, .seconds = seconds,
                           .warmupSeconds = seconds < 1 ? 0.2 : 1, .rate = rate},
                          [&](std::string& out) { out = requests[next++ % requests.size()]; });
  return generator.run();
}

}  // namespace

int runBench(int argc, char** argv);

int main(int argc, char** argv) {
  try {
    return runBench(argc, argv);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "server_bench: %s\n", e.what());
    return 1;
  }
}

namespace {

struct Options {
  double seconds = 5;
  int rounds = 3;
  double soakSeconds = 120;
  int threads = 64;
  std::string server = TOLVANA_SERVER_BINARY;
};

Options optionsOf(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    std::string argument = argv[i];
    auto value = [&] { return i + 1 < argc ? std::stod(argv[++i]) : 0.0; };
    if (argument == "--smoke") {
      options.seconds = 0.5;
      options.rounds = 1;
      options.soakSeconds = 3;
    } else if (argument == "--seconds") {
      options.seconds = value();
    } else if (argument == "--soak") {
      options.soakSeconds = value();
    } else if (argument == "--rounds") {
      options.rounds = static_cast<int>(value());
    } else if (argument == "--threads") {
      options.threads = static_cast<int>(value());
    } else {
      throw std::runtime_error("usage: server_bench [--seconds S] [--rounds N] [--soak S] [--threads N] [--smoke]");
    }
  }
  return options;
}

void target(const std::string& path, const std::string& figure, double value, const std::string& baseline,
            double base, double limit, bool atMost) {
  double ratio = base > 0 ? value / base : 0;
  bool met = atMost ? ratio <= limit : ratio >= limit;
  std::printf("TARGET | %s | %s %.4g | %s %.4g | %.3f | %s %.2f x | %s\n", path.c_str(), figure.c_str(), value,
              baseline.c_str(), base, ratio, atMost ? "<=" : ">=", limit, met ? "met" : "NOT MET");
}

struct Contestant {
  std::string name;
  int port;
  const std::vector<std::string>* requests;
};

struct Figures {
  double requestsPerSecond = 0, p50 = 0, p99 = 0;
  std::uint64_t errors = 0, starved = 0;
};

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

// Each contestant's medians over the rounds; a round runs them all, starting with the next
// one each time, so that a slow spell of the machine slows them alike.
std::vector<Figures> measure(const std::vector<Contestant>& contestants, int connections, const Options& options) {
  std::vector<std::vector<LoadResult>> results(contestants.size());
  for (int round = 0; round < options.rounds; ++round) {
    for (std::size_t k = 0; k < contestants.size(); ++k) {
      std::size_t i = (k + static_cast<std::size_t>(round)) % contestants.size();
      results[i].push_back(load(contestants[i].port, connections, options.seconds, 0, *contestants[i].requests));
    }
  }
  std::vector<Figures> figures;
  for (const auto& runs : results) {
    std::vector<double> rates, p50s, p99s;
    Figures f;
    for (const LoadResult& r : runs) {
      rates.push_back(r.requestsPerSecond());
      p50s.push_back(r.percentileUs(0.5));
      p99s.push_back(r.percentileUs(0.99));
      f.errors += r.errors;
      f.starved = std::max(f.starved, r.starved);
    }
    f.requestsPerSecond = median(rates);
    f.p50 = median(p50s);
    f.p99 = median(p99s);
    figures.push_back(f);
  }
  return figures;
}

struct Backend {
  std::string name;
  std::vector<std::string> database;  // the options that name it
  std::unique_ptr<Process> process;
  int port = 0;
};

}  // namespace

int runBench(int argc, char** argv) {
  Options options = optionsOf(argc, argv);
  testing::TempDir work;
  writeProject(work.file("project"));
  Postgres postgres(TOLVANA_SOURCE_DIR);
  std::vector<Backend> backends;
  backends.push_back({"SQLite", {"--data", work.file("sqlite")}});
  backends.push_back({"PostgreSQL", {"--database", postgres.url()}});
  for (Backend& backend : backends) {
    std::vector<std::string> command{options.server};
    command.insert(command.end(), backend.database.begin(), backend.database.end());
    command.insert(command.end(), {"import", work.file("project")});
    runToEnd(command);
    command.resize(command.size() - 2);
    command.insert(command.end(), {"--port", "0", "--threads", std::to_string(options.threads), "--log-level", "e"});
    backend.process = std::make_unique<Process>(command, "listening on ");
    backend.port = portOf(backend.process->readyRest());
  }

  struct Answer {
    const char* name;
    std::string params, file;
  } const answers[] = {
      {"(a) nothing new", R"({"requestedData":{"de":{"big":1,"main":1},"en":{"main":1},"fr":{"main":1}}})", "a.json"},
      {"(b) 100 KB", R"({"requestedData":{"de":{"big":-1,"main":1},"en":{"main":1},"fr":{"main":1}}})", "b.json"},
  };
  fs::create_directories(work.file("root"));
  std::map<std::string, std::vector<std::string>> requests;  // by answer and contestant
  for (const Answer& answer : answers) {
    auto path = "/v4/mobile-apps/sdk/bench-app?params=" + percentEncoded(answer.params);
    requests[std::string(answer.name) + "server"] = deviceRequests(answer.params, path);
    requests[std::string(answer.name) + "nginx"] = deviceRequests(answer.params, "/" + answer.file);
    std::string body = fetchBody(backends[0].port, requests[std::string(answer.name) + "server"][0]);
    if (fetchBody(backends[1].port, requests[std::string(answer.name) + "server"][0]) != body) {
      throw std::runtime_error("the two backends answer differently");
    }
    std::ofstream(work.file("root/" + std::string(answer.file)), std::ios::binary) << body;
    std::string plain = requests[std::string(answer.name) + "server"][0];
    plain.erase(plain.find("Accept-Encoding: gzip\r\n"), 23);
    std::printf("%s: %zu bytes on the wire (gzip), %zu bytes of JSON\n", answer.name, body.size(),
                fetchBody(backends[0].port, plain).size());
  }
  Nginx nginx(work.path(), work.file("root"));

  std::printf("\nmedians of %d rounds of %.1f s; each round runs the three in turn, starting with the next one\n",
              options.rounds, options.seconds);
  std::printf("\n| answer | connections | server | requests/s | p50 µs | p99 µs | errors | connections never answered |\n");
  std::printf("|---|---|---|---|---|---|---|---|\n");
  for (const Answer& answer : answers) {
    for (int connections : {1, 50, 500}) {
      std::vector<Contestant> contestants{{"nginx (static file)", nginx.port(), &requests[std::string(answer.name) + "nginx"]}};
      for (const Backend& backend : backends) {
        contestants.push_back({"tolvana-server, " + backend.name, backend.port, &requests[std::string(answer.name) + "server"]});
      }
      auto figures = measure(contestants, connections, options);
      for (std::size_t i = 0; i < contestants.size(); ++i) {
        const Figures& f = figures[i];
        std::printf("| %s | %d | %s | %.0f | %.0f | %.0f | %llu | %llu |\n", answer.name, connections,
                    contestants[i].name.c_str(), f.requestsPerSecond, f.p50, f.p99,
                    static_cast<unsigned long long>(f.errors), static_cast<unsigned long long>(f.starved));
      }
      if (connections != 50) continue;
      bool big = std::string(answer.name).starts_with("(b)");
      for (std::size_t i = 1; i < contestants.size(); ++i) {
        std::string label = std::string(answer.name) + ", 50 connections, " + backends[i - 1].name;
        target(label + ", requests/s", "server", figures[i].requestsPerSecond, "nginx", figures[0].requestsPerSecond,
               big ? 0.3 : 0.5, false);
        target(label + ", p99", "server", figures[i].p99, "nginx", figures[0].p99, 3.0, true);
      }
    }
  }

  std::printf("\nsoak: %.0f s at 200 requests/s over 20 connections, answers (a) and (b) in turn\n", options.soakSeconds);
  std::vector<std::string> mixed = requests[std::string(answers[0].name) + "server"];
  const auto& bigRequests = requests[std::string(answers[1].name) + "server"];
  for (std::size_t i = 0; i < mixed.size(); i += 2) mixed[i] = bigRequests[i];
  for (const Backend& backend : backends) {
    long afterTen = 0;
    std::thread sampler([&] {
      // The warm-up second, then ten (a smoke run's soak is too short for ten).
      std::this_thread::sleep_for(std::chrono::duration<double>(std::min(11.0, 1 + options.soakSeconds / 2)));
      afterTen = backend.process->residentKiB();
    });
    LoadResult r = load(backend.port, 20, options.soakSeconds, 200, mixed);
    sampler.join();
    long atEnd = backend.process->residentKiB();
    std::printf("%s: %llu requests, %llu errors, p99 %.0f µs, resident %ld KiB after 10 s, %ld KiB at the end\n",
                backend.name.c_str(), static_cast<unsigned long long>(r.requests),
                static_cast<unsigned long long>(r.errors), r.percentileUs(0.99), afterTen, atEnd);
    target("soak at 200 requests/s, " + backend.name + ", errors", "errors", static_cast<double>(r.errors), "none", 1,
           0.0, true);
    target("soak at 200 requests/s, " + backend.name + ", resident memory", "at the end KiB", static_cast<double>(atEnd),
           "after 10 s KiB", static_cast<double>(afterTen), 1.10, true);
  }
  return 0;
}
