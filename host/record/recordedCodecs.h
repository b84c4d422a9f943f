#pragma once

#include "host/OutputDirectory.h"
#include "host/input/CodecChanges.h"

namespace host {

/// What the tracks of a recording began with; nothing where no segment says so. Throws CommandError where the directory
/// cannot be read.
CodecHeaders recordedCodecs(const OutputDirectory& place);

}  // namespace host
