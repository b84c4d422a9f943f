#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/container/krvo_k2m.h"
#include "util/ByteBuffer.h"

namespace krvo::k2m {

// Counted handles on what the library tells of a segment; the last copy releases it. Handles stay with the thread of
// their writer or reader. Every operation throws Exception for a status other than 0.

/// A sample description.
class SampleDescriptor {
 public:
  SampleDescriptor() = default;
  /// Takes over the reference that the library gave out.
  explicit SampleDescriptor(KrvoK2MSampleDescriptor* handle);

  K2MDescriptorInfo info() const;
  K2MVideoDescriptorInfo videoInfo() const;
  K2MAudioDescriptorInfo audioInfo() const;
  K2MRtmpDescriptorInfo rtmpInfo() const;
  /// The codec header, as long as info() says; empty where there is none.
  qvs::util::ByteBuffer codecHeader() const;

  KrvoK2MSampleDescriptor* get() const { return handle_.get(); }
  explicit operator bool() const { return handle_ != nullptr; }

 private:
  std::shared_ptr<KrvoK2MSampleDescriptor> handle_;
};

class Track {
 public:
  Track() = default;
  explicit Track(KrvoK2MTrack* handle);

  K2MTrackInfo info() const;
  K2MEntriesInfo entriesInfo() const;
  std::uint32_t sampleCount() const;
  std::vector<SampleDescriptor> sampleDescriptors() const;

  KrvoK2MTrack* get() const { return handle_.get(); }
  explicit operator bool() const { return handle_ != nullptr; }

 private:
  std::shared_ptr<KrvoK2MTrack> handle_;
};

/// All tracks that the library's iterator gives, which is released.
std::vector<Track> takeTracks(KrvoK2MTrackIterator* iterator);

}  // namespace krvo::k2m
