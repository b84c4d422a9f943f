#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/Log.h"
#include "host/StopSignal.h"
#include "host/input/Input.h"

namespace host {

/// Opens what the user named: `-` is a tag stream on standard input, a file that begins like a tag stream is one, and
/// all else is libavformat's. `maps` choose streams of the latter, see chooseStreams(). `log` and `stop` outlive the
/// input. Throws InputError, and UsageError for `maps` that do not fit.
std::unique_ptr<Input> openInput(const std::string& name, const std::vector<std::string>& maps, Log& log,
                                 const StopSignal& stop);

}  // namespace host
