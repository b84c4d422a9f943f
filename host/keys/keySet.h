#pragma once

#include "host/keys/NewFiles.h"

namespace host {

/// Name of the settings file in a key set.
inline constexpr const char* kKeySetSettings = "recording.conf";

/// Makes everything that protected recordings need for a trial, in an empty directory: a content key; keys and
/// certificates of a license server and its transport; a packager's credential; a policy; and settings that refer to
/// them by absolute paths. The certificates are self-signed and valid for ten years. Throws CommandError if a file
/// cannot be made, and UsageError for a path that settings cannot express.
void makeKeySet(NewFiles& files);

}  // namespace host
