#pragma once

#include <cstdint>
#include <optional>

#include "host/files/RecordingDirectory.h"
#include "host/verify/SegmentCheck.h"

namespace host {

/// The base time in the control file; nothing where it cannot be read, which is reported.
std::optional<std::uint32_t> readBaseTime(const RecordingDirectory& directory, Findings& findings);

/// Notes what is in the directory and is no part of the recording.
void checkNames(const RecordingContext& recording);

/// The description, which is there once fragments have been written.
void checkDescriptionFile(const RecordingContext& recording);

/// The files beside segments, indexes and bootstrap: there where they have to be, and of the form they have. `begun`
/// tells that fragments have been written.
void checkSideFiles(const RecordingContext& recording, bool begun);

}  // namespace host
