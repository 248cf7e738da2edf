// tolvana-devserver: the reference translation server as a program.
//
//   tolvana-devserver --project DIR [--port N] [--tls] [--write-ca FILE]
#include <CLI/CLI.hpp>
#include <cstdio>

#include "ServeUntilStopped.h"

int main(int argc, char** argv) {
  tolvana::devserver::DevServerOptions options;
  std::string certificate, key, writeCa, store;
  CLI::App app{"Reference translation server for Tolvana apps"};
  app.add_option("--project", options.project, "Project directory (project.json, translations/)")->required();
  app.add_option("--host", options.host, "Address to listen on")->capture_default_str();
  app.add_option("--port", options.port, "Port; 0 picks a free one")->capture_default_str();
  app.add_flag("--tls", options.tls, "Serve HTTPS with a certificate made at start");
  app.add_option("--cert", certificate, "Certificate PEM instead of a made one");
  app.add_option("--key", key, "Key PEM for --cert");
  app.add_option("--write-ca", writeCa, "Write the certificate clients should trust to this file");
  app.add_option("--store", store, "SQLite file for what the server receives");
  app.add_option("--max-clock-skew", options.maxClockSkewSeconds, "Reject full requests whose time stamp is further off (s)");
  CLI11_PARSE(app, argc, argv);
  if (!certificate.empty()) options.certificateFile = certificate;
  if (!key.empty()) options.keyFile = key;
  if (!writeCa.empty()) options.writeCaFile = writeCa;
  if (!store.empty()) options.storeFile = store;

  std::string error;
  if (tolvana::devserver::serveUntilStopped(options, &error)) return 0;
  std::fprintf(stderr, "tolvana-devserver: %s\n", error.c_str());
  return 1;
}
