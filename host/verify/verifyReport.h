#pragma once

#include <string>

#include "host/output.h"
#include "host/verify/verifyRecording.h"

namespace host {

/// One line for each finding that was kept, then a summary line.
std::string textReport(const Verification& verification);
/// The members of the document that the command prints. docs/json.md describes them.
Json jsonReport(const Verification& verification);

}  // namespace host
