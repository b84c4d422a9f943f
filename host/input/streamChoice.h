#pragma once

extern "C" {
#include <libavformat/avformat.h>
}

#include <string>
#include <vector>

namespace host {

/// Indexes of the streams to record; -1 for none.
struct StreamChoice {
  int video = -1;
  int audio = -1;
};

/// Without `maps`: the best video stream, but no picture attached to music, and the audio stream that belongs to it.
/// With `maps`: the first stream of each specifier, such as `v`, `a:1` or `2`, all also with `0:` before. Throws
/// UsageError for a specifier that is malformed or matches no stream, and for two of a kind; InputError if there is
/// nothing to record. At least one of the two is set in the result.
StreamChoice chooseStreams(AVFormatContext& input, const std::vector<std::string>& maps);

}  // namespace host
