#pragma once

#include <memory>
#include <string>

#include "host/Log.h"
#include "host/StopSignal.h"
#include "host/input/CodecChanges.h"
#include "host/input/Input.h"

namespace host {

/// Opens the source that the user named: `-` is a tag stream on standard input, a file with the signature of a tag
/// stream is one, and libavformat opens everything else. `log` and `stop` outlive the input. Throws InputError if it
/// cannot be opened, and UsageError for options that do not fit it. May wait for a connection. Never null.
std::unique_ptr<Input> openSource(const std::string& name, const InputOptions& options, Log& log,
                                  const StopSignal& stop);

/// The same, split into recordings.
std::unique_ptr<CodecChanges> openInput(const std::string& name, const InputOptions& options, Log& log,
                                        const StopSignal& stop);

}  // namespace host
