#pragma once

#include <string>
#include <vector>

#include "host/StopSignal.h"
#include "host/input/InputWatch.h"
#include "host/input/avObjects.h"

namespace host {

/// Whether an input refers to another machine. A URL without a protocol of libavformat belongs to a format that does
/// its own networking, such as RTSP. If there is a file of that name, it is the input, even if it looks like a URL.
bool isFromNetwork(const std::string& input);

/// An input of libavformat that is open and whose streams are known.
struct OpenedFormat {
  /// Never null.
  FormatContext format;
  /// When the connection was open, before the streams were probed.
  InputWatch::Clock::time_point at;
};

/// Opens an input and reads enough of it to know its streams, which are two waits, each with the full limit of `watch`.
/// `assignments` are options for libav of the form KEY=VALUE. `watch` outlives the result, whose calls of libav it
/// ends. Throws InputError if the input cannot be opened, UsageError for an option of another form or one that
/// libavformat does not know, and std::bad_alloc.
OpenedFormat openFormat(const std::string& input, const std::vector<std::string>& assignments, InputWatch& watch,
                        const StopSignal& stop);

}  // namespace host
