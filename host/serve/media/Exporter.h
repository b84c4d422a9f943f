#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <semaphore>
#include <string>
#include <vector>

#include "host/serve/catalog/Catalog.h"
#include "host/serve/http/Body.h"
#include "host/serve/media/DatedRecording.h"
#include "host/serve/media/ExportLimits.h"

namespace host::serve {

/// A plain MP4 file (ISO/IEC 14496-12) that is not on disk: its `moov` is in memory, its media are in segment files.
///
///     ftyp  moov  mdat: of each fragment the bytes from the first to the last sample of the span
struct ExportedFile {
  Body body;
  /// With quotes, strong: the same bytes have the same one, so that a download can be continued. Changes when the
  /// newest recording has grown within the span.
  std::string etag;
  /// What it presents; less than the span if that has nothing at an end.
  TimeSpan time;
};

/// Makes MP4 files of streams. Any thread may call it; two files are made at a time, and a call waits some seconds for
/// its turn. The bodies may outlive it.
class Exporter {
 public:
  explicit Exporter(const ExportLimits& limits = {}) : limits_(limits) {}

  /// Makes the file of a span of a stream. `recordings` are those with any time in it, by rising begin; the newest may
  /// still grow. The file begins with the last key frame at or before the span, and its edit lists let players begin
  /// and end exactly: with the picture that is seen at the begin. Without a key frame there, it begins with the first
  /// one in the span. A gap stays one: the last picture lasts over it. Recordings that follow each other within half a
  /// second are joined without a gap or an overlap.
  ///
  /// Reads the boxes of the fragments in the span from disk. Takes 12 to 28 bytes of memory for each sample, and twice
  /// as much until it returns: 110 MB for a day of 30 pictures and 43 audio frames a second.
  ///
  /// Throws HttpError: 404 if nothing is recorded in the span; 409 for a protected recording, for a codec that MP4 does
  /// not have and for a configuration that changes, with the time; 413 for a span that is too long; 503 if too many
  /// files are being made or sent. Throws CommandError or another std::exception for files that are malformed or cannot
  /// be read.
  ExportedFile make(const std::vector<MediaRecording>& recordings, const TimeSpan& span);

 private:
  static constexpr std::ptrdiff_t kAtOnce = 2;

  const ExportLimits limits_;
  std::counting_semaphore<kAtOnce> slots_{kAtOnce};
  /// Bytes of the boxes of all files that are being sent. Shared with the bodies.
  std::shared_ptr<std::atomic<std::uint64_t>> used_ = std::make_shared<std::atomic<std::uint64_t>>(0);
};

}  // namespace host::serve
