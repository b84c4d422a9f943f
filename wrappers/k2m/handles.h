#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/container/krvo_k2m.h"
#include "util/ByteBuffer.h"

namespace krvo::k2m {

// Counted handles on objects of a segment; the last copy releases the object. Handles belong to the thread of their
// writer or reader. Every operation throws Exception for a status other than 0; an empty handle has no operation but
// the test for it.

/// A sample description: one entry of the `stsd` of a track (ISO/IEC 14496-12, 8.5.2).
class SampleDescriptor {
 public:
  SampleDescriptor() = default;
  /// Takes over the reference that the library gave out.
  explicit SampleDescriptor(KrvoK2MSampleDescriptor* handle);

  /// What all descriptions have: format, handler type, length of the codec header.
  K2MDescriptorInfo info() const;
  // The further fields of one handler type; for other types they mean nothing.
  K2MVideoDescriptorInfo videoInfo() const;
  K2MAudioDescriptorInfo audioInfo() const;
  K2MRtmpDescriptorInfo rtmpInfo() const;
  /// A copy of the codec header, such as the `avcC` box; empty if there is none.
  qvs::util::ByteBuffer codecHeader() const;

  /// A view; the handle keeps its reference.
  KrvoK2MSampleDescriptor* get() const { return handle_.get(); }
  explicit operator bool() const { return handle_ != nullptr; }

 private:
  std::shared_ptr<KrvoK2MSampleDescriptor> handle_;
};

/// A track of a segment.
class Track {
 public:
  Track() = default;
  /// Takes over the reference that the library gave out.
  explicit Track(KrvoK2MTrack* handle);

  /// A copy of the fields that the library has for the track now.
  K2MTrackInfo info() const;
  /// A copy of the entries record: the third number is the length of the codec header in bytes.
  K2MEntriesInfo entriesInfo() const;
  /// Samples in the whole file.
  std::uint32_t sampleCount() const;
  /// All of them, in the order of the file; samples name them by their number from 1.
  std::vector<SampleDescriptor> sampleDescriptors() const;

  /// A view; the handle keeps its reference.
  KrvoK2MTrack* get() const { return handle_.get(); }
  explicit operator bool() const { return handle_ != nullptr; }

 private:
  std::shared_ptr<KrvoK2MTrack> handle_;
};

/// All tracks of an iterator, which is released in any case.
std::vector<Track> takeTracks(KrvoK2MTrackIterator* iterator);

}  // namespace krvo::k2m
