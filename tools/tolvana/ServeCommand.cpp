// tolvana serve: a project directory served by the translation server, for development.
// The tool becomes tolvana-server (the same process, so signals and exit status are the
// server's), which imports the directory into a SQLite database beside it at start.
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "Commands.h"

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

}  // namespace

void addServeCommand(CLI::App& app, Session&) {
  struct Options {
    std::string project, writeCa;
    int port = 8080;
    bool tls = false;
    bool testFixture = false;
  };
  auto options = std::make_shared<Options>();
  auto* command = app.add_subcommand("serve", "Serve a project directory with tolvana-server until interrupted");
  command->add_option("--project", options->project, "Project directory (project.json, translations/)")->required();
  command->add_option("--port", options->port, "Port; 0 picks a free one")->capture_default_str();
  command->add_flag("--tls", options->tls, "Serve HTTPS with a certificate made at start");
  command->add_option("--write-ca", options->writeCa, "Write the certificate clients should trust to this file");
  command->add_flag("--test-fixture", options->testFixture,
                    "Offer the fault modes an app's tests can make the server play (admin token in DIR/.tolvana-server)");
  command->callback([options] {
    if (options->port < 0 || options->port > 65535) {
      throw CommandError("port " + std::to_string(options->port) + " is out of range (1-65535, or 0 for a free one)");
    }
    std::error_code ec;
    if (!fs::is_regular_file(fs::path(options->project) / "project.json", ec)) {
      throw CommandError("project.json in " + options->project + " is missing");
    }
    std::vector<std::string> arguments = {serverProgram(), "--data", (fs::path(options->project) / ".tolvana-server").string(),
                                          "--import", options->project, "--port", std::to_string(options->port)};
    if (options->tls) arguments.push_back("--tls");
    if (options->testFixture) arguments.push_back("--test-fixture");
    if (!options->writeCa.empty()) arguments.insert(arguments.end(), {"--write-ca", options->writeCa});
    std::vector<char*> argv;
    for (auto& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    std::fflush(stdout);
    ::execvp(argv[0], argv.data());
    throw CommandError("cannot start " + arguments[0] + ": " + std::strerror(errno));
  });
}

}  // namespace tolvana::cli
