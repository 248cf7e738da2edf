#include "tests/support/ServerFixture.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <future>
#include <stdexcept>

#include "platform/posix/CurlHttp.h"
#include "platform/posix/ThreadDispatch.h"
#include "support/Json.h"

extern char** environ;

namespace tolvana::testing {

namespace {

std::string readLine(int fd) {
  std::string line;
  char c;
  while (::read(fd, &c, 1) == 1 && c != '\n') line += c;
  return line;
}

int spawn(std::vector<std::string> arguments, std::string* firstLine) {
  int out[2];
  if (::pipe2(out, O_CLOEXEC) != 0) throw std::runtime_error("pipe failed");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
  posix_spawn_file_actions_addclose(&actions, out[0]);
  std::vector<char*> argv;
  for (auto& a : arguments) argv.push_back(a.data());
  argv.push_back(nullptr);
  int pid = -1;
  const int spawned = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(out[1]);
  if (spawned != 0) {
    ::close(out[0]);
    throw std::runtime_error("cannot start the translation server");
  }
  *firstLine = readLine(out[0]);
  ::close(out[0]);
  return pid;
}

}  // namespace

ServerFixture::ServerFixture(Options options) : options_(std::move(options)) {
  std::ofstream(dir_.file("admin-token")) << adminToken_;
  std::vector<std::string> arguments;
  if (options_.fileSizeLimit > 0) {
    arguments = {"/usr/bin/prlimit", "--fsize=" + std::to_string(options_.fileSizeLimit), "--"};
  }
  arguments.insert(arguments.end(), {TOLVANA_SERVER_BINARY, "--port", "0", "--admin-token-file", dir_.file("admin-token"),
                                     "--max-clock-skew", std::to_string(options_.maxClockSkewSeconds), "--log-level", "e"});
  if (options_.testFixture) arguments.push_back("--test-fixture");
  if (options_.database.empty()) {
    arguments.insert(arguments.end(), {"--data", dataDirectory()});
  } else {
    arguments.insert(arguments.end(), {"--database", options_.database});
  }
  if (options_.tls) arguments.insert(arguments.end(), {"--tls", "--write-ca", caFile()});
  arguments.insert(arguments.end(), options_.extraArguments.begin(), options_.extraArguments.end());
  std::string line;
  pid_ = spawn(arguments, &line);
  const std::string prefix = "listening on ";
  if (line.rfind(prefix, 0) != 0) {
    stop();
    throw std::runtime_error("the translation server said: " + line);
  }
  baseUrl_ = line.substr(prefix.size());
  http_ = http(makeThreadDispatch());
  if (options_.createProject) {
    request("POST", "/admin/v1/projects",
            R"({"id":"app1","apiSecret":"s3cr3t-key","baseLanguage":"en","languages":["en"],"version":1,)"
            R"("collectMissingEnabled":true,"draftModeEnabled":true,"screenTags":["Home","Settings"]})");
  }
}

ServerFixture::~ServerFixture() { stop(); }

void ServerFixture::stop() {
  if (pid_ <= 0) return;
  ::kill(pid_, SIGTERM);
  int status = 0;
  ::waitpid(pid_, &status, 0);
  pid_ = -1;
}

std::shared_ptr<Http> ServerFixture::http(std::shared_ptr<Dispatch> dispatch) const {
  CurlHttpOptions httpOptions;
  if (options_.tls) httpOptions.extraCaFile = caFile();
  if (options_.maxAnswerBytes > 0) httpOptions.maxBodyBytes = options_.maxAnswerBytes;
  return makeCurlHttp(std::move(dispatch), httpOptions);
}

HttpResponse ServerFixture::send(HttpRequest request) const {
  if (request.url.starts_with("/")) request.url = baseUrl_ + request.url;
  std::promise<HttpResponse> answer;
  http_->send(request, [&answer](HttpResponse response) { answer.set_value(std::move(response)); });
  return answer.get_future().get();
}

std::string ServerFixture::request(const std::string& method, const std::string& path, const std::string& body) const {
  HttpRequest request;
  request.method = method;
  request.url = path;
  request.body = body;
  request.headers = {{"Content-Type", "application/json"}, {"Authorization", "Bearer " + adminToken_}};
  request.requestTimeout = 10;
  request.resourceTimeout = 20;
  HttpResponse response = send(request);
  if (response.error || response.status < 200 || response.status > 299) {
    throw std::runtime_error(method + " " + path + " failed: " + response.error.value_or(std::to_string(response.status)) +
                             " " + response.body);
  }
  return response.body;
}

void ServerFixture::publish(const std::string& language, const std::string& group,
                            const std::map<std::string, std::string>& texts) {
  if (languages_.insert(language).second) {
    request("PATCH", "/admin/v1/projects/app1",
            json::serialize(Value::Dictionary{{"languages", Value::Array(languages_.begin(), languages_.end())}}));
  }
  Value::Array edits;
  for (const auto& [key, text] : texts) {
    edits.push_back(Value::Dictionary{{"language", language}, {"group", group}, {"key", key}, {"draft", text}});
  }
  request("PUT", "/admin/v1/projects/app1/entries", json::serialize(Value::Dictionary{{"entries", edits}}));
  request("POST", "/admin/v1/projects/app1/publish",
          json::serialize(Value::Dictionary{{"language", language}, {"group", group}}));
}

Value ServerFixture::inspect(const std::string& what) const {
  std::string path = what == "requests" ? "/_test/requests" : "/admin/v1/projects/app1/" + what;
  return json::parse(request("GET", path)).value_or(Value());
}

void ServerFixture::injectFault(Value::Dictionary fault) { request("POST", "/_test/faults", json::serialize(fault)); }

}  // namespace tolvana::testing
