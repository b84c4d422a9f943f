#pragma once

#include <string>
#include <vector>

#include "host/serve/catalog/Catalog.h"
#include "host/serve/http/Body.h"
#include "host/serve/media/DatedRecording.h"

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

/// Makes the file of a span of a stream. `recordings` are those with any time in it, by rising begin; the newest may
/// still grow. The file begins with the last key frame at or before the span, and its edit lists let players begin and
/// end exactly. Without a key frame there, it begins with the first one in the span. A gap stays one: the last picture
/// lasts over it. Recordings that follow each other within half a second are joined without a gap or an overlap.
///
/// Takes about 12 to 28 bytes of memory for each sample; a day of 30 pictures and 43 audio frames a second 110 MB. No
/// more than 8 million samples and 500 segment files are possible, and two files are made at the same time.
///
/// Any thread may call it; it reads boxes from disk. Throws HttpError: 404 if nothing is recorded in the span, 409 for
/// a protected recording, for a codec that MP4 does not have and for a configuration that changes, with the time, and
/// 413 for a span that is too long. Throws CommandError or another std::exception for files that are malformed or
/// cannot be read.
ExportedFile exportMp4(const std::vector<MediaRecording>& recordings, const TimeSpan& span);

}  // namespace host::serve
