#include <cstdio>
#include <memory>

#include "host/commands.h"
#include "host/unprotect/unprotectRecording.h"

namespace host {
namespace {

constexpr const char* kFooter =
    R"(The signature of the protection metadata is held against the certificate inside, whose subject and
fingerprint are printed: whether to trust it is for you to say. The new recording has the same
fragments, times and tags as if DIR had never been protected. Its files are for their owner alone.

Exit status: 0 all well, 1 the recording cannot be unprotected (nothing is left in its place; the
reason is printed), 2 bad usage, 3 it is damaged beside its protection, and so is the new one.)";

}  // namespace

void addUnprotectCommand(Command program, ExitStatus& status) {
  const auto options = std::make_shared<UnprotectOptions>();
  Command command = program.subcommand("unprotect", "Write the clear recording of a protected one");
  command.option("DIR", options->directory, "Directory of the protected recording").required();
  command.option("--key", options->keyFile, "Private key of the license server, PEM or DER, without a password")
      .typeName("FILE")
      .required();
  command.option("--out", options->output, "Directory of the clear recording; must not exist")
      .typeName("DIR2")
      .required();
  command.footer(kFooter);
  command.action([options, &status] {
    Log log(stderr);
    status = unprotectRecording(*options, log);
  });
}

}  // namespace host
