#include <cstdio>
#include <memory>

#include "host/commands.h"
#include "host/unprotect/unprotectRecording.h"

namespace host {
namespace {

constexpr const char* kFooter =
    R"(Checks the signature of the protection metadata with the certificate in it, and
prints subject and fingerprint of that certificate: whether to trust it is your
decision. The new recording has the same fragments, times and tags as if DIR had
never been protected. Only the owner may read its files.

Exit status:
  0  all well
  1  the recording cannot be unprotected; the reason is printed, and no DIR2 is
     left
  2  bad usage
  3  the recording is damaged apart from its protection, and so is the new one)";

}  // namespace

Command unprotectCommand() {
  const auto options = std::make_shared<UnprotectOptions>();
  return {.name = "unprotect",
          .text = "Write the clear recording of a protected one.",
          .options = {{.name = "DIR",
                       .take = storeIn(options->directory),
                       .text = "Directory of the protected recording.",
                       .required = true},
                      {.name = "--key",
                       .value = "FILE",
                       .take = storeIn(options->keyFile),
                       .text = "Private key of the license server, PEM or DER, without a password.",
                       .required = true},
                      {.name = "--out",
                       .value = "DIR2",
                       .take = storeIn(options->output),
                       .text = "Directory of the clear recording. Must not exist.",
                       .required = true}},
          .footer = kFooter,
          .run = [options] {
            Log log(stderr);
            return unprotectRecording(*options, log);
          }};
}

}  // namespace host
