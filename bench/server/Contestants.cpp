#include "Contestants.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>

extern char** environ;

namespace tolvana::bench {

namespace {

int spawn(std::vector<std::string> argv, int out) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  if (out >= 0) posix_spawn_file_actions_adddup2(&actions, out, STDOUT_FILENO);
  std::vector<char*> args;
  for (auto& a : argv) args.push_back(a.data());
  args.push_back(nullptr);
  int pid = -1;
  if (posix_spawnp(&pid, args[0], &actions, nullptr, args.data(), environ) != 0) {
    throw std::runtime_error("cannot start " + argv[0]);
  }
  posix_spawn_file_actions_destroy(&actions);
  return pid;
}

}  // namespace

Process::Process(std::vector<std::string> argv, const std::string& readyLine) {
  int out[2] = {-1, -1};
  if (!readyLine.empty() && ::pipe2(out, O_CLOEXEC) != 0) throw std::runtime_error("pipe");
  pid_ = spawn(argv, out[1]);
  if (readyLine.empty()) return;
  ::close(out[1]);
  std::string line;
  char c;
  while (::read(out[0], &c, 1) == 1 && c != '\n') line += c;
  ::close(out[0]);
  if (!line.starts_with(readyLine)) throw std::runtime_error(argv[0] + " said: " + line);
  rest_ = line.substr(readyLine.size());
}

Process::~Process() {
  if (pid_ <= 0) return;
  ::kill(pid_, SIGTERM);
  int status = 0;
  ::waitpid(pid_, &status, 0);
}

long Process::residentKiB() const {
  std::ifstream status("/proc/" + std::to_string(pid_) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmRSS:")) return std::stol(line.substr(6));
  }
  return 0;
}

std::string runToEnd(const std::vector<std::string>& argv) {
  int out[2];
  if (::pipe2(out, O_CLOEXEC) != 0) throw std::runtime_error("pipe");
  int pid = spawn(argv, out[1]);
  ::close(out[1]);
  std::string text;
  char buffer[4096];
  for (ssize_t n; (n = ::read(out[0], buffer, sizeof buffer)) > 0;) text.append(buffer, static_cast<std::size_t>(n));
  ::close(out[0]);
  int status = 0;
  ::waitpid(pid, &status, 0);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) throw std::runtime_error(argv[0] + " failed: " + text);
  return text;
}

std::string fetchBody(int port, const std::string& request) {
  int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  std::string in;
  if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
      ::send(fd, request.data(), request.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(request.size())) {
    char buffer[65536];
    for (;;) {
      auto head = in.find("\r\n\r\n");
      auto length = in.find("Content-Length: ");
      if (head != std::string::npos && length != std::string::npos &&
          in.size() >= head + 4 + std::stoul(in.substr(length + 16))) {
        break;
      }
      ssize_t n = ::recv(fd, buffer, sizeof buffer, 0);
      if (n <= 0) break;
      in.append(buffer, static_cast<std::size_t>(n));
    }
  }
  ::close(fd);
  auto head = in.find("\r\n\r\n");
  if (!in.starts_with("HTTP/1.1 200") || head == std::string::npos) throw std::runtime_error("no answer: " + in.substr(0, 200));
  return in.substr(head + 4);
}

int freePort() {
  int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
  ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
  ::close(fd);
  return ntohs(address.sin_port);
}

int portOf(const std::string& url) { return std::stoi(url.substr(url.rfind(':') + 1)); }

Postgres::Postgres(const std::string& sourceDirectory) : script_(sourceDirectory + "/scripts/scratch-postgres") {
  std::istringstream words(runToEnd({"bash", script_, "start", "--durable"}));
  words >> url_ >> directory_;
}

Postgres::~Postgres() {
  try {
    runToEnd({"bash", script_, "stop", directory_});
  } catch (const std::exception&) {
    // The cluster's directory may be left behind; nothing else.
  }
}

Nginx::Nginx(const std::string& workDirectory, const std::string& root) : port_(freePort()) {
  std::string conf = workDirectory + "/nginx.conf";
  // One worker per core, as nginx's own "auto" gives; no logs, and files sent the fastest way
  // it has (sendfile), so that it measures HTTP alone at its best.
  // As root, nginx hands its workers to "nobody", who may not read the benchmark's files.
  std::ofstream(conf) << (::geteuid() == 0 ? "user root;\n" : "") << "worker_processes auto;\ndaemon off;\npid " << workDirectory << "/nginx.pid;\n"
                      << "error_log " << workDirectory << "/nginx-error.log;\n"
                      << "events { worker_connections 4096; }\n"
                      << "http {\n  access_log off;\n  sendfile on;\n  tcp_nopush on;\n"
                      << "  keepalive_requests 100000000;\n  keepalive_timeout 60;\n"
                      << "  server {\n    listen 127.0.0.1:" << port_ << ";\n    root " << root << ";\n"
                      << "    default_type application/json;\n    add_header Content-Encoding gzip;\n  }\n}\n";
  process_ = std::make_unique<Process>(std::vector<std::string>{"nginx", "-c", conf, "-p", workDirectory}, "");
  for (int i = 0; i < 100; ++i) {  // nginx says nothing when it is up: wait for its port
    int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port_));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bool up = ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    ::close(fd);
    if (up) return;
    ::usleep(20000);
  }
  throw std::runtime_error("nginx did not start (see " + workDirectory + "/nginx-error.log)");
}

}  // namespace tolvana::bench
