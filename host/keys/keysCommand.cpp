#include <memory>

#include "host/commands.h"
#include "host/keys/keySet.h"
#include "host/output.h"
#include "platform/os/wipe.h"

namespace host {
namespace {

constexpr const char* kNewFooter =
    R"(Makes the content key common.key, key and certificate of a license server and of
its transport, the packager's credential packager.p12, policy.txt, and
recording.conf with the settings that name them:

  k2r keys new keys
  k2r record movie.mp4 --out rec/movie --config keys/recording.conf
  k2r unprotect rec/movie --key keys/license-server.key --out rec/clear

Exit status:
  0  all well
  1  a file could not be written
  2  bad usage)";

ExitStatus runKeysNew(const std::string& directory) {
  // Before the first secret is in memory.
  platform::os::makeNoDumps();
  NewFiles files(directory);
  makeKeySet(files);
  // Only now: a set that lacks a file is removed when `files` is destroyed.
  files.keep();
  printText(files.pathOf(kKeySetSettings) + "\n");
  return ExitStatus::kOk;
}

}  // namespace

Command keysCommand() {
  const auto directory = std::make_shared<std::string>();
  return {.name = "keys",
          .text = "Make keys and certificates to try protected recordings with.",
          .commands = {{.name = "new",
                        .text = "Make a complete set of keys, and print the path of its settings.",
                        .options = {{.name = "DIR",
                                     .take = storeIn(*directory),
                                     .text = "Directory of the set. Made if missing; has to be empty.",
                                     .required = true}},
                        .footer = kNewFooter,
                        .run = [directory] { return runKeysNew(*directory); }}}};
}

}  // namespace host
