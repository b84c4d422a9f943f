#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "host/Log.h"
#include "host/plain/PlainFragment.h"
#include "host/serve/http/HttpMessage.h"
#include "host/serve/play/BoundedCache.h"
#include "host/serve/play/FragmentAddress.h"
#include "host/serve/play/HeaderStore.h"
#include "host/serve/play/LiveWindow.h"
#include "host/serve/play/MemoryCopies.h"
#include "host/serve/play/OpenFiles.h"
#include "host/serve/play/RecordingCache.h"
#include "host/serve/play/RecordingSource.h"

namespace host::serve {

/// Plays streams: playlists (RFC 8216) over their recordings, and the plain view to which these refer. Any thread may
/// call it. All operations throw HttpError.
class Playback {
 public:
  /// Milliseconds since 1970-01-01 UTC.
  using Clock = std::function<std::int64_t()>;
  /// Limits of the caches, in bytes.
  struct Limits {
    std::uint64_t timelines = std::uint64_t{64} << 20;
    std::uint64_t fragments = std::uint64_t{16} << 20;
    /// Of whole fragments: those that are kept, and those that are kept or still sent.
    std::uint64_t keptCopies = std::uint64_t{64} << 20;
    std::uint64_t copies = std::uint64_t{128} << 20;
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

  /// Whether it can be played: one that waits for its repair may still change.
  static bool isPlayable(const RecordingInfo& info);
  std::string folderOf(const std::string& stream) const;
  RecordingPointer open(const std::string& stream, const RecordingInfo& info);
  /// Those of them that can be played, in the same order.
  std::vector<RecordingPointer> openAll(const std::string& stream, const std::vector<RecordingInfo>& infos);
  Live& liveOf(const std::string& stream);
  /// The newest fragments, as many as a window needs.
  std::vector<PlayedFragment> newestFragments(const std::string& stream, std::int64_t nowMs);
  /// The fragments that follow the newest of the window; nothing if the stream does not continue from there.
  std::optional<std::vector<PlayedFragment>> following(const std::string& stream, const PlayedFragment& newest,
                                                       std::int64_t nowMs);
  std::vector<PlayedFragment> fragmentsIn(const std::string& stream, std::int64_t fromMs, std::int64_t toMs);
  /// Throws the HttpError for a request to which no fragment belongs.
  [[noreturn]] void throwNothing(const std::string& stream, std::int64_t fromMs, std::int64_t toMs) const;
  /// The content of a fragment, in memory if there is room for it.
  std::shared_ptr<const Body> wholeFragment(const PlayedFragment& fragment, const FragmentAddress& address,
                                            const std::string& path);
  std::shared_ptr<const PlainFragment> makeFragment(const std::string& key, const PlayedFragment& fragment,
                                                    const FragmentAddress& address, const std::string& path,
                                                    const OpenFiles::File& file);

  const RecordingSource& source_;
  Log& log_;
  const Clock clock_;
  HeaderStore headers_;
  RecordingCache recordings_;
  BoundedCache<const PlainFragment> fragments_;
  /// Whole fragments in memory, for those that many players get.
  MemoryCopies copies_;
  BoundedCache<const Body> wholeFragments_;
  OpenFiles files_;
  std::mutex mutex_;
  /// By stream. Guarded by `mutex_`; the objects stay.
  std::map<std::string, std::unique_ptr<Live>> live_;
};

}  // namespace host::serve
