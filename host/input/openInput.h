#pragma once

#include <memory>
#include <string>

#include "host/Log.h"
#include "host/StopSignal.h"
#include "host/input/CodecChanges.h"

namespace host {

/// Opens what the user named: `-` is a tag stream on standard input, a file that begins like a tag stream is one, and
/// all else is libavformat's. Messages whose codec configuration changes go by CodecChanges. `log` and `stop` outlive
/// the input. Throws InputError, and UsageError for options that do not fit.
std::unique_ptr<CodecChanges> openInput(const std::string& name, const InputOptions& options, Log& log,
                                        const StopSignal& stop);

}  // namespace host
