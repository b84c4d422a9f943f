#pragma once

#include <string>

#include "host/plain/PlainView.h"

namespace host {

/// Writes a plain view into its own folder, for any static web server: headers, fragments, and finally `index.m3u8`.
/// Makes the folder if it is missing. Files of an earlier call are not written again, so a call while the recording is
/// running adds what is new. A file gets its name when it is complete. Throws CommandError if the folder contains
/// anything else, or the view of another recording, and if a file cannot be written.
void writePlainFolder(const PlainView& view, const std::string& folder);

}  // namespace host
