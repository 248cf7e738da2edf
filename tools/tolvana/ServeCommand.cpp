// tolvana serve: a project directory served by the translation server, for development.
// The tool becomes tolvana-server (the same process, so signals and exit status are the
// server's), which imports the directory into a SQLite database at start, once the tool has
// checked the project: a mistake in it is reported before the server writes anything.
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "Commands.h"
#include "JsonFile.h"

namespace fs = std::filesystem;

namespace tolvana::cli {

namespace {

// TOLVANA_SERVER, else tolvana-server beside this program, else the one of this build tree,
// else the first on the PATH.
std::string serverProgram() {
  if (const char* named = std::getenv("TOLVANA_SERVER"); named && *named) return named;
  std::error_code ec;
  fs::path beside = fs::read_symlink("/proc/self/exe", ec).parent_path() / "tolvana-server";
  if (!ec && fs::exists(beside, ec)) return beside.string();
#ifdef TOLVANA_SERVER_BUILD_PATH
  if (fs::exists(TOLVANA_SERVER_BUILD_PATH, ec)) return TOLVANA_SERVER_BUILD_PATH;
#endif
  return "tolvana-server";
}

struct ServeOptions {
  std::string project, host, cert, key, store, writeCa;
  int port = 8080;
  bool tls = false;
  bool testFixture = false;
};

// The server would make its data directory before it finds the project unusable, and name a
// JSON error without its place.
void checkProject(const std::string& directory) {
  std::string file = (fs::path(directory) / "project.json").string();
  std::error_code ec;
  if (!fs::is_regular_file(file, ec)) throw CommandError("project.json in " + directory + " is missing");
  auto project = readJsonFile(file, "project file");
  for (const char* field : {"appId", "apiSecret"}) {
    if (!project.is_object() || !project.contains(field) || !project[field].is_string()) {
      throw CommandError("project file " + file + ": no \"" + field + "\" string");
    }
  }
}

[[noreturn]] void serve(const ServeOptions& options) {
  if (options.port < 0 || options.port > 65535) {
    throw CommandError("port " + std::to_string(options.port) + " is out of range (1-65535, or 0 for a free one)");
  }
  if (options.cert.empty() != options.key.empty()) throw UsageError("--cert and --key go together");
  checkProject(options.project);
  std::string data = options.store.empty() ? (fs::path(options.project) / ".tolvana-server").string() : options.store;
  std::vector<std::string> arguments = {serverProgram(), "--data", data, "--import", options.project,
                                        "--port", std::to_string(options.port)};
  auto pass = [&](const char* name, const std::string& value) {
    if (!value.empty()) arguments.insert(arguments.end(), {name, value});
  };
  pass("--host", options.host);
  pass("--cert", options.cert);
  pass("--key", options.key);
  pass("--write-ca", options.writeCa);
  if (options.tls || !options.cert.empty()) arguments.push_back("--tls");
  if (options.testFixture) arguments.push_back("--test-fixture");
  std::vector<char*> argv;
  for (auto& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  std::fflush(stdout);
  ::execvp(argv[0], argv.data());
  throw CommandError("cannot start " + arguments[0] + ": " + std::strerror(errno));
}

}  // namespace

void addServeCommand(CLI::App& app, Session&) {
  auto options = std::make_shared<ServeOptions>();
  auto* command = app.add_subcommand("serve", "Serve a project directory with tolvana-server until interrupted");
  command->add_option("--project", options->project, "Project directory (project.json, translations/)")->required();
  command->add_option("--port", options->port, "Port; 0 picks a free one")->capture_default_str();
  command->add_option("--host", options->host, "Address to listen on (default: 127.0.0.1)");
  command->add_flag("--tls", options->tls, "Serve HTTPS, with a certificate made at start unless --cert names one");
  command->add_option("--cert", options->cert, "Certificate (PEM) to serve HTTPS with");
  command->add_option("--key", options->key, "Private key (PEM) of --cert");
  command->add_option("--store", options->store, "Directory of the server's database and admin token (default: DIR/.tolvana-server)");
  command->add_option("--write-ca", options->writeCa, "Write the certificate clients should trust to this file");
  command->add_flag("--test-fixture", options->testFixture,
                    "Offer the fault modes an app's tests can make the server play (admin token in the --store directory)");
  command->callback([options] { serve(*options); });
}

}  // namespace tolvana::cli
