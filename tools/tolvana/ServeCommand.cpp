// tolvana serve: the reference translation server in the foreground.
#include "Commands.h"
#include "ServeUntilStopped.h"

namespace tolvana::cli {

void addServeCommand(CLI::App& app, Session&) {
  auto options = std::make_shared<devserver::DevServerOptions>();
  auto writeCa = std::make_shared<std::string>();
  auto* command = app.add_subcommand("serve", "Run the reference translation server until interrupted");
  command->add_option("--project", options->project, "Project directory (project.json, translations/)")->required();
  command->add_option("--port", options->port, "Port; 0 picks a free one")->capture_default_str();
  command->add_flag("--tls", options->tls, "Serve HTTPS with a certificate made at start");
  command->add_option("--write-ca", *writeCa, "Write the certificate clients should trust to this file");
  command->callback([options, writeCa] {
    if (!writeCa->empty()) options->writeCaFile = *writeCa;
    std::string error;
    if (!devserver::serveUntilStopped(*options, &error)) throw CommandError(error);
  });
}

}  // namespace tolvana::cli
