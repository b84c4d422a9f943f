#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "fragmentation/AfraIndex.h"
#include "host/files/FileView.h"
#include "host/files/RecordingDirectory.h"
#include "platform/container/reading/SegmentReader.h"

namespace host {

/// A segment file of a recording, and the fragments in it that the bootstrap and its index have.
struct RecordedSegment {
  std::uint32_t number = 0;
  /// Their index entries, in order. Times are in ms, positions in bytes of the segment file.
  std::vector<ruvo::k2r::AfraEntry> fragments;
};

/// What bootstrap and indexes say of a recording.
struct RecordedContent {
  /// The segments that have fragments, in rising order.
  std::vector<RecordedSegment> segments;
  /// Whether the recording was stopped. Only an append could add to it then.
  bool stopped = false;
  /// End of the last fragment on the time line of the index, by the bootstrap. 0 without one.
  std::uint64_t endMs = 0;
};

/// Reads what a recording has; it may still be running. Throws CommandError if there is no recording, and for a small
/// file that is malformed. The bootstrap is read first: a recorder writes it last, so each fragment in it is in the
/// indexes that are read after it, and later fragments are left out. Indexes of segments before `firstSegment` are not
/// read.
RecordedContent readRecordedContent(const RecordingDirectory& directory, std::uint32_t firstSegment = 0);

/// The same for a recording that may be damaged: each small file that cannot be read is named in `faults`, and the rest
/// is returned. Without a readable bootstrap the indexes alone decide which fragments there are; a segment without a
/// readable index has none. Throws CommandError only if there is no recording.
RecordedContent readRecordedContent(const RecordingDirectory& directory, std::vector<std::string>& faults);

/// A segment file, open for reading its fragments. Cannot be copied or moved: the reader refers to the file.
class OpenSegment {
 public:
  /// `window` as for FileView. Throws CommandError if the file cannot be opened, and SegmentError if its header is
  /// malformed.
  explicit OpenSegment(const std::string& path, std::size_t window = FileView::kWindow)
      : file_(path, window), reader_(file_) {}

  /// For reading bytes of the segment beside the reader. Both share one open file.
  FileView& file() { return file_; }
  krvo::container::SegmentReader& reader() { return reader_; }

 private:
  FileView file_;
  krvo::container::SegmentReader reader_;
};

/// Whether a segment file begins with a whole header. After a kill at its beginning there is only a part of one. Throws
/// CommandError if the file cannot be opened.
bool hasSegmentHeader(const std::string& path);

}  // namespace host
