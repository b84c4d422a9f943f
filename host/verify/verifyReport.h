#pragma once

#include <string>

#include "host/output.h"
#include "host/verify/verifyRecording.h"

namespace host {

/// A line a finding, then a summary line.
std::string textReport(const Verification& verification);
Json jsonReport(const Verification& verification);

}  // namespace host
