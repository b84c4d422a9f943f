#pragma once

#include <cstdint>
#include <optional>

#include "host/files/RecordingDirectory.h"
#include "host/verify/SegmentCheck.h"

namespace host {

/// The base time in the control file, in ms. Returns nothing if there is none, or if it cannot be read; the latter is
/// reported.
std::optional<std::uint32_t> readBaseTime(const RecordingDirectory& directory, Findings& findings);

/// Notes files in the directory that do not belong to the recording.
void checkNames(const RecordingContext& recording);

/// Checks the description (`.meta`), which exists as soon as a fragment has been written.
void checkDescriptionFile(const RecordingContext& recording);

/// Checks the files beside segments, indexes and bootstrap: that the required ones exist, and their form. `begun` says
/// whether fragments have been written.
void checkSideFiles(const RecordingContext& recording, bool begun);

}  // namespace host
