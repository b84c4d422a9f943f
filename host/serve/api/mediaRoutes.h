#pragma once

#include "host/serve/api/Router.h"
#include "host/serve/play/Playback.h"
#include "host/serve/play/RecordingSource.h"

namespace host::serve {

/// Adds playlists, what they refer to, exports and snapshots. To be called after the other routes of streams: a name
/// below a stream that is none of these is taken for that of a header. `playback` and `recordings` outlive the router.
void addMediaRoutes(Router& router, Playback& playback, const RecordingSource& recordings);

}  // namespace host::serve
