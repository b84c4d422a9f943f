#pragma once

#include <string>

#include "host/keys/NewFiles.h"

namespace host {

/// The file of settings in a key set.
inline constexpr const char* kKeySetSettings = "recording.conf";

/// Makes, in an empty directory, all that protected recordings need for a trial: a content key; keys and certificates
/// of a license server and of its transport; a packager's credential; a policy; and the settings that name them by
/// absolute paths. The certificates vouch for themselves and are good for ten years. Throws CommandError.
void makeKeySet(NewFiles& files);

}  // namespace host
