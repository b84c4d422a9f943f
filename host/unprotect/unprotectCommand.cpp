#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>

#include "host/commands.h"
#include "host/unprotect/unprotectRecording.h"

namespace host {
namespace {

constexpr const char* kFooter =
    R"(The signature of the protection metadata is held against the certificate inside, whose subject and
fingerprint are printed: whether to trust it is for you to say. The new recording has the same
fragments, times and tags as if DIR had never been protected.

Exit status: 0 all well, 1 the recording cannot be unprotected (nothing is left in its place; the
reason is printed), 2 bad usage, 3 it is damaged beside its protection, and so is the new one.)";

}  // namespace

void addUnprotectCommand(CLI::App& app, ExitStatus& status) {
  const auto options = std::make_shared<UnprotectOptions>();
  CLI::App& command = *app.add_subcommand("unprotect", "Write the clear recording of a protected one");
  command.add_option("DIR", options->directory, "Directory of the protected recording")->type_name("")->required();
  command.add_option("--key", options->keyFile, "Private key of the license server, PEM or DER, without a password")
      ->type_name("FILE")
      ->required();
  command.add_option("--out", options->output, "Directory of the clear recording; must not exist")
      ->type_name("DIR2")
      ->required();
  command.footer(kFooter);
  command.callback([options, &status] {
    Log log(stderr);
    status = unprotectRecording(*options, log);
  });
}

}  // namespace host
