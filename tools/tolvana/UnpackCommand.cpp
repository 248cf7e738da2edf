// tolvana unpack: a settings archive unpacked as the app would, for a look at what it ships.
#include <cstdio>
#include <filesystem>

#include "Commands.h"
#include "store/TLArchive.h"

namespace tolvana::cli {

namespace {

struct UnpackArguments {
  std::string archive, destination;
  bool force = false;
};

void unpack(Session& session, const UnpackArguments& args) {
  const std::string& archive = args.archive;
  const std::string& destination = args.destination;
  if (!std::filesystem::is_regular_file(archive)) throw CommandError("no archive at " + archive);
  session.installWithoutApp();
  std::error_code ec;
  std::filesystem::create_directories(destination, ec);
  if (ec) throw CommandError("cannot create " + destination + ": " + ec.message());
  // The app's own rules keep the stores it already has and skip languages marked deleted in
  // its defaults; --force writes every member.
  if (!TLArchive::createFilesAndDirectoriesAtPath(destination, archive, !args.force)) {
    throw CommandError(session.withEngineError("cannot unpack " + archive));
  }
  std::size_t files = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(destination)) files += entry.is_regular_file();
  std::printf("unpacked %s into %s: %zu files\n", archive.c_str(), destination.c_str(), files);
}

}  // namespace

void addUnpackCommand(CLI::App& app, Session& session) {
  auto unpackArgs = std::make_shared<UnpackArguments>();
  auto* unpackCommand = app.add_subcommand(
      "unpack",
      "Unpack a settings archive into a directory as the app would: stores already there are kept and "
      "languages the app's defaults mark deleted are not written (--force overwrites everything)");
  unpackCommand->add_option("ARCHIVE", unpackArgs->archive, "The settings archive")->required();
  unpackCommand->add_option("DIR", unpackArgs->destination, "Where to unpack it")->required();
  unpackCommand->add_flag("--force", unpackArgs->force, "Write every member, also over existing stores");
  unpackCommand->callback([&session, unpackArgs] { unpack(session, *unpackArgs); });
}

}  // namespace tolvana::cli
