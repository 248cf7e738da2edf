// tolvana-server: the translation server as a program.
//
//   tolvana-server --data DIR [--port N] [--tls] ...          serve from SQLite in DIR
//   tolvana-server --database postgresql://... [...]          serve from PostgreSQL
//   tolvana-server --data DIR import PROJECT-DIR              import a project directory
//   tolvana-server --data DIR export OUT-DIR [--project ID]   export a project
//   tolvana-server --data DIR add-user NAME --role admin       a console account (password on stdin)
#include <CLI/CLI.hpp>
#include <fcntl.h>
#include <openssl/rand.h>
#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <stdexcept>

#include "ProjectDirectory.h"
#include "ServeUntilStopped.h"
#include "api/AccountsApi.h"
#include "api/PasswordHash.h"
#include "storage/StorageError.h"
#include "support/Files.h"
#include "support/Hmac.h"
#include "support/TLLog.h"
#include "tolvana/Version.h"

namespace fs = std::filesystem;
using namespace tolvana::server;

namespace {

void configureLog(const std::string& level) {
  tolvana::TLLog::configure({
      .writeLine =
          [](std::string_view line) {
            std::time_t now = std::time(nullptr);
            char stamp[32];
            std::strftime(stamp, sizeof stamp, "%Y-%m-%dT%H:%M:%SZ", std::gmtime(&now));
            std::fprintf(stderr, "%s %.*s\n", stamp, static_cast<int>(line.size()), line.data());
          },
      .tagSetting = [] { return std::optional<tolvana::Value>("tolvana-server"); },
      .levelSetting = [level](std::string_view) { return std::optional<tolvana::Value>(level); },
  });
}

// The token from its file; without one, a SQLite server makes one in its data directory,
// readable by its owner alone. A PostgreSQL server has no directory of its own: its admin
// API stays off until it is given a token.
std::optional<std::string> adminToken(const std::string& tokenFile, const StorageLocation& location) {
  if (!tokenFile.empty()) {
    auto text = tolvana::readWholeFile(tokenFile);
    while (text && !text->empty() && std::isspace(static_cast<unsigned char>(text->back()))) text->pop_back();
    if (!text || text->size() < 16) {
      throw std::runtime_error("the admin token file " + tokenFile + " holds no token of 16 characters or more");
    }
    return text;
  }
  if (location.dataDirectory.empty()) return std::nullopt;
  std::string path = (fs::path(location.dataDirectory) / "admin-token").string();
  if (auto text = tolvana::readWholeFile(path)) return text;
  unsigned char bytes[32];
  if (RAND_bytes(bytes, sizeof bytes) != 1) throw std::runtime_error("no randomness for an admin token");
  std::string token = tolvana::hexadecimalString(bytes, sizeof bytes);
  int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (fd < 0 || ::write(fd, token.data(), token.size()) != static_cast<ssize_t>(token.size())) {
    if (fd >= 0) ::close(fd);
    throw std::runtime_error("cannot write the admin token to " + path);
  }
  ::close(fd);
  std::fprintf(stderr, "tolvana-server: a new admin token is in %s\n", path.c_str());
  return token;
}

// One line of standard input; from a terminal, asked for without echo.
std::string readPassword(const char* prompt) {
  termios saved{};
  const bool terminal = ::isatty(STDIN_FILENO) && ::tcgetattr(STDIN_FILENO, &saved) == 0;
  if (terminal) {
    std::fprintf(stderr, "%s", prompt);
    termios quiet = saved;
    quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
  }
  std::string line;
  std::getline(std::cin, line);
  if (terminal) {
    ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved);
    std::fprintf(stderr, "\n");
  }
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return line;
}

void addUser(Storage& storage, const std::string& name, const std::string& roleName) {
  auto role = roleNamed(roleName);
  if (!role) throw std::runtime_error("the role is viewer, translator or admin, not " + roleName);
  if (auto problem = AccountsApi::problemWithName(name)) throw std::runtime_error(*problem);
  std::string password = readPassword("Password: ");
  if (auto problem = AccountsApi::problemWithPassword(password)) throw std::runtime_error(*problem);
  if (::isatty(STDIN_FILENO) && readPassword("Again: ") != password) throw std::runtime_error("the passwords differ");
  auto hash = PasswordHash::of(password);
  if (!hash) throw std::runtime_error("the password could not be hashed");
  bool existed = storage.account(name).has_value();
  storage.replaceAccount({.name = name, .passwordHash = *hash, .role = *role});
  std::printf("%s %s (%s)\n", existed ? "changed" : "added", name.c_str(), roleName.c_str());
}

struct Commands {
  CLI::App* import;
  CLI::App* exporter;
  CLI::App* addUser;
  std::string userName{};
  std::string role = "viewer";
};

int run(CLI::App& app, ServerOptions& options, StorageLocation& location, const std::string& tokenFile,
        const std::string& importDirectory, const Commands& commands, const std::string& directory,
        const std::string& projectId) {
  if (location.dataDirectory.empty() == location.databaseUrl.empty()) {
    throw std::runtime_error("say where the data lives: --data DIR (SQLite) or --database postgresql://...");
  }
  location.connections = location.databaseUrl.empty() ? std::max(options.threads, 4) : location.connections;
  auto storage = openStorage(location);
  if (commands.addUser->parsed()) {
    addUser(*storage, commands.userName, commands.role);
    return 0;
  }
  if (commands.import->parsed()) {
    std::printf("imported %s\n", importProjectDirectory(*storage, directory).c_str());
    return 0;
  }
  if (commands.exporter->parsed()) {
    std::string id = projectId;
    if (id.empty()) {
      auto projects = storage->projects();
      if (projects.size() != 1) {
        throw std::runtime_error("the database holds " + std::to_string(projects.size()) +
                                 " projects: name one with --project");
      }
      id = projects.front().id;
    }
    exportProjectDirectory(*storage, id, directory);
    std::printf("exported %s to %s\n", id.c_str(), directory.c_str());
    return 0;
  }
  if (!importDirectory.empty()) importProjectDirectory(*storage, importDirectory);
  options.adminToken = adminToken(tokenFile, location);
  if (!options.adminToken) {
    tolvana::logWarning("no admin token given (--admin-token-file): the admin API takes console sessions only");
  }
  if (location.databaseUrl.empty()) {
    options.stateDirectory = location.dataDirectory;
  } else {
    char temporary[] = "/tmp/tolvana-server-XXXXXX";
    if (options.tls && !options.certificateFile && ::mkdtemp(temporary)) options.stateDirectory = temporary;
  }
  std::string error;
  if (serveUntilStopped(options, *storage, &error)) return 0;
  throw std::runtime_error(error);
}

}  // namespace

int main(int argc, char** argv) {
  // A write past a file-size limit fails with EFBIG, and the upload gets 507, instead of the
  // signal ending the server; a client gone mid-answer is an error of that write alone.
  signal(SIGXFSZ, SIG_IGN);
  signal(SIGPIPE, SIG_IGN);
  ServerOptions options;
  StorageLocation location{.connections = 16};
  std::string tokenFile, certificate, key, writeCa, importDirectory, directory, projectId, logLevel = "i";
  CLI::App app{"Tolvana translation server"};
  app.set_version_flag("--version", std::string("tolvana-server ") + TOLVANA_VERSION_STRING);
  app.add_option("--data", location.dataDirectory, "Keep the data in SQLite in this directory");
  app.add_option("--database", location.databaseUrl, "Keep the data in PostgreSQL (postgresql://user@host/db)");
  app.add_option("--database-connections", location.connections, "PostgreSQL connections at most")->capture_default_str();
  app.add_option("--host", options.host, "Address to listen on")->capture_default_str();
  app.add_option("--port", options.port, "Port; 0 picks a free one")->capture_default_str();
  app.add_flag("--tls", options.tls, "Serve HTTPS (with a certificate made at start unless --cert is given)");
  app.add_option("--cert", certificate, "Certificate PEM");
  app.add_option("--key", key, "Key PEM for --cert");
  app.add_option("--write-ca", writeCa, "Write the certificate clients should trust to this file");
  app.add_option("--admin-token-file", tokenFile, "File holding the admin API's token");
  app.add_option("--threads", options.threads, "Request threads")->capture_default_str();
  app.add_option("--max-clock-skew", options.api.maxClockSkewSeconds,
                 "Refuse full requests signed further from the server's clock (s; 0: any)")->capture_default_str();
  app.add_option("--max-upload-bytes", options.api.maxUploadBytes, "Largest screenshot upload")->capture_default_str();
  app.add_option("--max-uploads", options.api.maxConcurrentUploads, "Screenshot uploads read at once")->capture_default_str();
  app.add_option("--cache-max-age", options.api.cacheMaxAgeSeconds, "max-age of cacheable answers (s)")->capture_default_str();
  app.add_option("--import", importDirectory, "Import this project directory before serving");
  app.add_option("--log-level", logLevel, "v, d, i, w or e")->capture_default_str();
  app.add_flag("--test-fixture", options.testFixture, "Offer the fault and request-record endpoints tests use");
  auto* import = app.add_subcommand("import", "Import a project directory into the database");
  import->add_option("DIR", directory, "Project directory (project.json, translations/)")->required();
  auto* exporter = app.add_subcommand("export", "Export a project into a directory");
  exporter->add_option("DIR", directory, "Directory to write")->required();
  exporter->add_option("--project", projectId, "The project's id (needed when there are several)");
  Commands commands{.import = import, .exporter = exporter, .addUser = nullptr};
  auto* userAdder = app.add_subcommand("add-user", "Add a web console account, or give one a new password and role");
  commands.addUser = userAdder;
  userAdder->add_option("NAME", commands.userName, "The user's name")->required();
  userAdder->add_option("--role", commands.role, "viewer, translator or admin")->capture_default_str();
  CLI11_PARSE(app, argc, argv);
  if (!certificate.empty()) options.certificateFile = certificate;
  if (!key.empty()) options.keyFile = key;
  if (!writeCa.empty()) options.writeCaFile = writeCa;
  configureLog(logLevel);
  try {
    return run(app, options, location, tokenFile, importDirectory, commands, directory, projectId);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "tolvana-server: %s\n", e.what());
    return 1;
  }
}
