#pragma once

#include <cstddef>
#include <vector>

#include "host/input/avObjects.h"
#include "host/input/streamChoice.h"

namespace host {

/// The data of an `onMetaData` message in AMF0: the name, then an array of numbers that tell what the chosen streams of
/// `input` are, as far as it says so: `duration` in seconds, `width` and `height` in pixels, `framerate`,
/// `videocodecid`, `audiocodecid`, `audiosamplerate` in Hz, `audiochannels`.
std::vector<std::byte> makeOnMetaData(const AVFormatContext& input, const StreamChoice& choice);

}  // namespace host
