#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/container/reading/boxes.h"

namespace krvo::container {

/// The four boxes of a fragment in a file, each directly after the one before. `moof` and `mdat` are those of ISO/IEC
/// 14496-12, 8.8.4 and 8.1.1; `afra` and `abst` come before them, and players skip these.
///
///     afra  where a player may start; time and offset of tags
///     abst  the bootstrap as it was to be after this fragment
///     moof  the samples of all tracks
///     mdat  the tags, one after another
struct FragmentBoxes {
  BoxSpan afra;
  BoxSpan abst;
  BoxSpan moof;
  BoxSpan mdat;

  /// Offset in the file by which an index names the fragment.
  std::uint64_t position() const { return afra.offset; }
  std::uint64_t end() const { return mdat.end(); }
  std::uint64_t size() const { return end() - position(); }
};

/// A sample at which a player may start: an entry of an `afra`.
struct AccessPoint {
  /// Milliseconds.
  std::uint64_t time = 0;
  /// Offset of its tag. From the start of the first tag while the fragment is being written, from the start of the
  /// `afra` box once it is read.
  std::uint64_t offset = 0;
};

/// A sample as a `moof` describes it.
struct StoredSample {
  // Times are in the track's timescale.
  std::uint64_t decodeTime = 0;
  std::uint32_t duration = 0;
  std::int32_t compositionOffset = 0;
  /// Offset of its first byte in the file.
  std::uint64_t offset = 0;
  /// Bytes.
  std::uint32_t size = 0;
  /// Decoding can start here (8.8.3.1: sample_is_non_sync_sample is 0).
  bool sync = false;
  /// Number of its `trun` in the `traf`, counted from 1.
  std::uint32_t run = 0;
  /// Number of its sample description, counted from 1. A damaged file may give a number that the track does not have.
  std::uint32_t description = 1;
  /// Offset in the file of the fields that this sample has in its `trun`.
  std::uint64_t fieldsOffset = 0;
};

/// The samples of one track in a fragment: a `traf` (8.8.6).
struct TrackFragment {
  std::uint32_t trackId = 0;
  /// Offset of the `traf` in the file.
  std::uint64_t offset = 0;
  /// From its `tfdt` (8.8.12), in the track's timescale.
  std::uint64_t decodeTime = 0;
  /// In decoding order, from all `trun` boxes of the `traf`.
  std::vector<StoredSample> samples;
};

/// A tag as an `mdat` contains it: 11 bytes of header, the data, 4 bytes of back pointer (util/tagHeader.h).
struct StoredTag {
  /// Offset of its header in the file.
  std::uint64_t offset = 0;
  /// The type byte as stored, with the bit 0x20 of protected data.
  std::uint8_t rawType = 0;
  /// Milliseconds.
  std::uint32_t timestamp = 0;
  std::uint32_t dataSize = 0;

  /// Offset of its data in the file.
  std::uint64_t dataOffset() const;
  std::uint64_t end() const;
};

/// A fragment as read from a file, without the data of its tags. Owns what it contains.
struct Fragment {
  FragmentBoxes boxes;
  /// From the `mfhd` (8.8.5).
  std::uint32_t sequenceNumber = 0;
  /// The entries of its `afra`; offsets are counted from the start of that box.
  std::vector<AccessPoint> accessPoints;
  /// The payload of the `abst` after version and flags.
  std::vector<std::byte> abstBody;
  /// In the order of the `moof`.
  std::vector<TrackFragment> tracks;
};

}  // namespace krvo::container
