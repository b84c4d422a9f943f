#pragma once

#include "host/OutputDirectory.h"
#include "host/input/CodecChanges.h"

namespace host {

/// The sequence headers with which the tracks of a recording began, as a source would send them; empty if no segment
/// can be read. Throws CommandError if the directory cannot be read. CodecChanges compares the input of an append with
/// them.
CodecHeaders recordedCodecs(const OutputDirectory& place);

}  // namespace host
