#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "fragmentation/AfraIndex.h"
#include "host/files/FileView.h"
#include "host/files/RecordingDirectory.h"
#include "platform/container/reading/SegmentReader.h"

namespace host {

/// One segment file of a recording, and the fragments in it that bootstrap and index name.
struct RecordedSegment {
  std::uint32_t number = 0;
  /// Entries of fragments that are in the file, in order.
  std::vector<ruvo::k2r::AfraEntry> fragments;
};

struct RecordedContent {
  /// Those that have fragments, in order.
  std::vector<RecordedSegment> segments;
  /// Nothing will be added, unless an append goes on.
  bool stopped = false;
};

/// What of a recording can be read, while it runs, too: what comes meanwhile is left out. The bootstrap is read first,
/// then the indexes, as a recorder writes them the other way round. Throws CommandError where there is no recording,
/// and for a small file that is not of its form.
RecordedContent readRecordedContent(const RecordingDirectory& directory);

/// The same for a recording that may be damaged: each small file that cannot be read is named in `faults`, and the rest
/// is returned. Without a readable bootstrap the indexes alone decide which fragments there are; a segment without a
/// readable index has none. Throws CommandError only if there is no recording.
RecordedContent readRecordedContent(const RecordingDirectory& directory, std::vector<std::string>& faults);

/// A segment file opened for its fragments.
class OpenSegment {
 public:
  /// Throws CommandError where the file cannot be opened, and SegmentError where it does not begin as a segment does.
  explicit OpenSegment(const std::string& path, std::size_t window = FileView::kWindow)
      : file_(path, window), reader_(file_) {}

  FileView& file() { return file_; }
  krvo::container::SegmentReader& reader() { return reader_; }

 private:
  FileView file_;
  krvo::container::SegmentReader reader_;
};

/// Whether a segment file begins as one. A recorder that was killed as it began the file leaves a part of its header.
bool hasSegmentHeader(const std::string& path);

/// The track by which a recording's time is told: its video, else its audio, else its data. Null where there is none of
/// these. A view of the movie.
const krvo::container::Track* leadingTrack(const krvo::container::Movie& movie);

/// A stretch of time in milliseconds.
struct TimeSpan {
  std::uint64_t start = 0;
  std::uint64_t end = 0;
};

/// From the first sample of the track in a fragment to the end of the last one; empty at `otherwise` where it has none.
TimeSpan timeSpanOf(const krvo::container::Fragment& fragment, const krvo::container::Track* track,
                    std::uint64_t otherwise);

}  // namespace host
