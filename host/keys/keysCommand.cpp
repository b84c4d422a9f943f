#include <CLI/CLI.hpp>
#include <memory>

#include "host/commands.h"
#include "host/keys/keySet.h"
#include "host/output.h"

namespace host {
namespace {

constexpr const char* kNewFooter =
    R"(Made are the content key common.key, key and certificate of a license server and of its
transport, the packager's credential packager.p12, policy.txt, and recording.conf:
  k2r keys new keys
  k2r record movie.mp4 --out rec/movie --config keys/recording.conf
  k2r unprotect rec/movie --key keys/license-server.key --out rec/clear

Exit status: 0 all well, 1 a file could not be written, 2 bad usage.)";

ExitStatus runKeysNew(const std::string& directory) {
  NewFiles files(directory);
  makeKeySet(files);
  files.keep();
  printText(files.pathOf(kKeySetSettings) + "\n");
  return ExitStatus::kOk;
}

}  // namespace

void addKeysCommand(CLI::App& app, ExitStatus& status) {
  const auto directory = std::make_shared<std::string>();
  CLI::App& keys = *app.add_subcommand("keys", "Make keys and certificates to try protected recordings with");
  keys.require_subcommand(1);
  CLI::App& command = *keys.add_subcommand("new", "Make a complete set, and print the path of its settings");
  command.add_option("DIR", *directory, "Directory of the set; made if missing, has to be empty")
      ->type_name("")
      ->required();
  command.footer(kNewFooter);
  command.callback([directory, &status] { status = runKeysNew(*directory); });
}

}  // namespace host
