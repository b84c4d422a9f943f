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

/// Without `maps` the best video stream, pictures attached to music excepted, and the audio stream that goes with it.
/// With `maps` the first stream of each specifier: `v`, `a:1`, `2`, all also with `0:` in front. Throws UsageError for
/// a specifier that is malformed or fits no stream, and for two of a kind; InputError where there is nothing to record.
StreamChoice chooseStreams(AVFormatContext& input, const std::vector<std::string>& maps);

}  // namespace host
