#pragma once

#include <string>

#include "host/plain/PlainView.h"

namespace host {

/// Writes a plain view into a folder of its own, for any static web server: headers, fragments, and last of all
/// `index.m3u8`. Makes the folder. What an earlier call wrote stays as it is, so that a call while the recording runs
/// adds what has come since. Each file is whole from the moment at which it has its name. Throws CommandError if the
/// folder holds anything else, or the view of another recording, and if a file cannot be written.
void writePlainFolder(const PlainView& view, const std::string& folder);

}  // namespace host
