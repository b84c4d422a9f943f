#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/container/OpenFragment.h"
#include "platform/container/boxes.h"

namespace krvo::container {

/// The four boxes of a fragment in a file, one behind another.
struct FragmentBoxes {
  BoxSpan afra;
  BoxSpan abst;
  BoxSpan moof;
  BoxSpan mdat;

  /// What an index calls the fragment's position.
  std::uint64_t position() const { return afra.offset; }
  std::uint64_t end() const { return mdat.end(); }
  std::uint64_t size() const { return end() - position(); }
};

/// A sample as a `moof` tells it.
struct StoredSample {
  /// In the track's timescale.
  std::uint64_t decodeTime = 0;
  std::uint32_t duration = 0;
  std::int32_t compositionOffset = 0;
  /// In the file.
  std::uint64_t offset = 0;
  std::uint32_t size = 0;
  bool sync = false;
  /// The `trun` that tells it, counted from 1 in its `traf`.
  std::uint32_t run = 0;
  /// Its description, counted from 1 in those of the track, which may not have it.
  std::uint32_t description = 1;
  /// Where its fields begin in that `trun`, in the file.
  std::uint64_t toldAt = 0;
};

/// The samples of one track in a fragment.
struct TrackFragment {
  std::uint32_t trackId = 0;
  /// Of the `traf`, in the file.
  std::uint64_t offset = 0;
  /// What its `tfdt` says.
  std::uint64_t decodeTime = 0;
  std::vector<StoredSample> samples;
};

/// A tag as it lies in an `mdat`: 11 bytes of header, the data, 4 bytes of back pointer.
struct StoredTag {
  /// In the file.
  std::uint64_t offset = 0;
  /// As stored, bit 0x20 of protected data included.
  std::uint8_t rawType = 0;
  std::uint32_t timestamp = 0;
  std::uint32_t dataSize = 0;

  std::uint64_t dataOffset() const;
  std::uint64_t end() const;
};

struct Fragment {
  FragmentBoxes boxes;
  std::uint32_t sequenceNumber = 0;
  /// The entries of its `afra`; offsets are counted from the start of that box.
  std::vector<AccessPoint> accessPoints;
  std::vector<std::byte> abstBody;
  /// In the order of the `moof`.
  std::vector<TrackFragment> tracks;
};

}  // namespace krvo::container
