#include "tests/support/ServerFixture.h"

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

}  // namespace

ServerFixture::ServerFixture(Options options) : options_(std::move(options)) {
  Value::Dictionary project{{"appId", "app1"},         {"apiSecret", "s3cr3t-key"},
                            {"baseLanguage", "en"},      {"version", 1},
                            {"collectMissingEnabled", true}, {"draftModeEnabled", true},
                            {"screenTags", Value::Array{"Home", "Settings"}}};
  std::ofstream(dir_.file("project.json")) << json::serialize(project);

  std::vector<std::string> arguments = {TOLVANA_DEVSERVER_BINARY, "--project", dir_.path(), "--port", "0"};
  if (options_.tls) {
    arguments.insert(arguments.end(), {"--tls", "--write-ca", caFile()});
  }
  int out[2];
  if (::pipe(out) != 0) throw std::runtime_error("pipe failed");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
  posix_spawn_file_actions_addclose(&actions, out[0]);
  std::vector<char*> argv;
  for (auto& a : arguments) argv.push_back(a.data());
  argv.push_back(nullptr);
  if (posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ) != 0) {
    throw std::runtime_error("cannot start the reference server");
  }
  posix_spawn_file_actions_destroy(&actions);
  ::close(out[1]);
  std::string line = readLine(out[0]);
  ::close(out[0]);
  const std::string prefix = "listening on ";
  if (line.rfind(prefix, 0) != 0) throw std::runtime_error("the reference server said: " + line);
  baseUrl_ = line.substr(prefix.size());
  CurlHttpOptions httpOptions;
  if (options_.tls) httpOptions.extraCaFile = caFile();
  if (options_.maxAnswerBytes > 0) httpOptions.maxBodyBytes = options_.maxAnswerBytes;
  http_ = makeCurlHttp(makeThreadDispatch(), httpOptions);
}

ServerFixture::~ServerFixture() { stop(); }

void ServerFixture::stop() {
  if (pid_ <= 0) return;
  ::kill(pid_, SIGTERM);
  int status = 0;
  ::waitpid(pid_, &status, 0);
  pid_ = -1;
}

std::string ServerFixture::request(const std::string& method, const std::string& path, const std::string& body) const {
  HttpRequest request;
  request.method = method;
  request.url = baseUrl_ + path;
  request.body = body;
  request.headers = {{"Content-Type", "application/json"}};
  request.requestTimeout = 10;
  request.resourceTimeout = 20;
  std::promise<HttpResponse> answer;
  http_->send(request, [&answer](HttpResponse response) { answer.set_value(std::move(response)); });
  HttpResponse response = answer.get_future().get();
  if (response.error || response.status != 200) {
    throw std::runtime_error(method + " " + path + " failed: " + response.error.value_or(std::to_string(response.status)));
  }
  return response.body;
}

void ServerFixture::publish(const std::string& language, const std::string& group,
                            const std::map<std::string, std::string>& texts) {
  Value::Dictionary entries;
  for (const auto& [key, text] : texts) entries[key] = Value::Dictionary{{"v", text}};
  request("POST", "/_devserver/translations",
          json::serialize(Value::Dictionary{{"language", language}, {"group", group}, {"entries", entries}}));
}

Value ServerFixture::inspect(const std::string& what) const {
  return json::parse(request("GET", "/_devserver/" + what)).value_or(Value());
}

void ServerFixture::injectFault(Value::Dictionary fault) {
  request("POST", "/_devserver/faults", json::serialize(fault));
}

}  // namespace tolvana::testing
