#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "host/Log.h"
#include "host/serve/http/HttpMessage.h"
#include "host/serve/play/FragmentBodies.h"
#include "host/serve/play/HeaderStore.h"
#include "host/serve/play/LiveWindow.h"
#include "host/serve/play/RecordingCache.h"
#include "host/serve/play/RecordingSource.h"
#include "host/serve/play/StreamFragments.h"

namespace host::serve {

/// Plays streams: playlists (RFC 8216) over their recordings, and the plain view to which these refer. Any thread may
/// call it. All operations throw HttpError.
class Playback {
 public:
  /// Milliseconds since 1970-01-01 UTC.
  using Clock = std::function<std::int64_t()>;
  struct Limits {
    /// Of the time lines of recordings, in bytes.
    std::uint64_t timelines = std::uint64_t{64} << 20;
    FragmentBodies::Limits fragments = {};
  };
  /// The longest time of a playlist: the longest day.
  static constexpr std::int64_t kLongestMs = std::int64_t{25} * 3600 * 1000;

  /// `source` and `log` outlive this object.
  Playback(const RecordingSource& source, Log& log, Clock clock, Limits limits);

  /// The newest fragments; never ends. A stream that does not record keeps its last ones, and continues from there.
  HttpResponse livePlaylist(const std::string& stream);
  /// All fragments with any time in [from, to). Ends, unless more of that time may still be recorded.
  HttpResponse timedPlaylist(const std::string& stream, std::int64_t fromMs, std::int64_t toMs);
  /// A header by the name that playlists give it.
  HttpResponse header(const std::string& stream, const std::string& name);
  /// A fragment by the two parts of its address.
  HttpResponse fragment(const std::string& stream, const std::string& recording, const std::string& address);

 private:
  struct Live {
    std::mutex mutex;
    // Guarded by `mutex`.
    LiveWindow window;
    std::int64_t lastRequestMs = 0;
  };

  std::string folderOf(const std::string& stream) const;
  Live& liveOf(const std::string& stream);
  /// Throws the HttpError for a request to which no fragment belongs.
  [[noreturn]] void throwNothing(const std::string& stream, std::int64_t fromMs, std::int64_t toMs) const;

  const RecordingSource& source_;
  Log& log_;
  const Clock clock_;
  HeaderStore headers_;
  RecordingCache recordings_;
  StreamFragments fragments_;
  FragmentBodies bodies_;
  std::mutex mutex_;
  /// By stream. Guarded by `mutex_`; the objects stay.
  std::map<std::string, std::unique_ptr<Live>> live_;
};

}  // namespace host::serve
