// Contestants: the servers the load generator measures, each started as a process of its own
// on a free loopback port: tolvana-server on SQLite or on PostgreSQL, and nginx serving the
// same answer bytes as static files, the cost of HTTP alone.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace tolvana::bench {

class Process {
 public:
  // Starts argv; when readyLine is given, waits for a line starting with it on standard
  // output and keeps the rest of that line.
  Process(std::vector<std::string> argv, const std::string& readyLine);
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  int pid() const { return pid_; }
  const std::string& readyRest() const { return rest_; }
  // Resident memory in KiB, from /proc.
  long residentKiB() const;

 private:
  int pid_ = -1;
  std::string rest_;
};

// A PostgreSQL started by scripts/scratch-postgres (durable: it syncs as a real one does).
class Postgres {
 public:
  explicit Postgres(const std::string& sourceDirectory);
  ~Postgres();
  const std::string& url() const { return url_; }

 private:
  std::string script_, url_, directory_;
};

// nginx serving every file of root on a free port, with keep-alive as long as the run.
class Nginx {
 public:
  Nginx(const std::string& workDirectory, const std::string& root);
  int port() const { return port_; }

 private:
  int port_;
  std::unique_ptr<Process> process_;
};

// One exchange on a new connection: the answer's body as sent (still gzip-compressed).
std::string fetchBody(int port, const std::string& request);
// Runs a program to its end; its standard output, or an exception when it failed.
std::string runToEnd(const std::vector<std::string>& argv);
int freePort();
// The port of "http://127.0.0.1:<port>".
int portOf(const std::string& url);

}  // namespace tolvana::bench
