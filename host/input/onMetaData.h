#pragma once

#include <cstddef>
#include <vector>

#include "host/input/avObjects.h"
#include "host/input/streamChoice.h"

namespace host {

/// The data of an `onMetaData` message in AMF0: the name, then an array of numbers that describe the chosen streams of
/// `input`, as far as libavformat knows them: `duration` in seconds, `width` and `height` in pixels, `framerate` in
/// pictures per second, `videocodecid`, `audiocodecid`, `audiosamplerate` in Hz, `audiochannels`.
std::vector<std::byte> makeOnMetaData(const AVFormatContext& input, const StreamChoice& choice);

}  // namespace host
