#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "platform/container/krvo_k2m.h"
#include "util/ByteBuffer.h"
#include "wrappers/k2m/Exception.h"
#include "wrappers/k2m/IOStream.h"
#include "wrappers/k2m/records.h"

namespace krvo::k2m {

/// The allocation callbacks given to the library. A block is cut from the heap; where there is none the library gets a
/// null pointer.
class Allocator {
 public:
  Allocator();
  const KrvoK2MAllocatorCallBacks& callBacks() const { return callBacks_; }

 private:
  KrvoK2MAllocatorCallBacks callBacks_;
};

/// A counted handle on a sample description; the last copy releases it. Handles stay with the thread of their writer.
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

/// A counted handle on a track.
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

/// The part of a segment's writer that knows tracks. A view of a K2RWriter, which outlives it. Every operation throws
/// Exception for a status other than 0. The size of `codecHeader` takes the place of the length in the record.
class Writer {
 public:
  explicit Writer(KrvoK2MWriter* writer) : writer_(writer) {}

  Track addTrack(const K2MTrackInfo& info, const K2MEntriesInfo& entries, const char* name);
  SampleDescriptor addVideoSampleDescriptor(const Track& track, const K2MVideoDescriptorInfo& info,
                                            std::span<const std::byte> codecHeader);
  SampleDescriptor addAudioSampleDescriptor(const Track& track, const K2MAudioDescriptorInfo& info,
                                            std::span<const std::byte> codecHeader);
  SampleDescriptor addRtmpSampleDescriptor(const Track& track, const K2MRtmpDescriptorInfo& info,
                                           std::span<const std::byte> codecHeader);
  SampleDescriptor addSampleDescriptor(const Track& track, const K2MDescriptorInfo& info,
                                       std::span<const std::byte> codecHeader);
  std::vector<Track> tracks() const;
  void setSampleDescriptor(const Track& track, const SampleDescriptor& descriptor);
  void flush();

 private:
  KrvoK2MWriter* writer_;
};

/// One segment file being written. Destroying it ends the file; what fails then is not reported.
class K2RWriter {
 public:
  /// A new segment. `stream` and `allocator` outlive the writer.
  K2RWriter(IOStream& stream, const K2MDocInfo& info, const Allocator& allocator);
  /// An existing segment, continued behind the fragment at `position`. `warnings` is not used once this is made.
  K2RWriter(IOStream& stream, WarningHandler& warnings, const Allocator& allocator, std::uint64_t position);
  ~K2RWriter();
  K2RWriter(const K2RWriter&) = delete;
  K2RWriter& operator=(const K2RWriter&) = delete;

  Writer k2mWriter() const;
  Track addHintTrack(const K2MTrackInfo& info, const K2MEntriesInfo& entries, const char* name,
                     std::span<const Track> mediaTracks);
  /// Writes the open fragment and begins the next; answers where that one's first byte will stand. After a failure the
  /// open fragment is empty, and still begins where it did.
  std::uint64_t startFragment();
  /// Begins the content of the open fragment; what was added to it before is dropped. `body` stays in place until the
  /// next startFragment().
  void addAbst(std::span<const std::byte> body);
  /// The library calls `data.free` once, also when this throws.
  void addHintSample(const Track& hint, const Track& media, const KrvoK2MDataBuffer& data, const K2MHintInfo& info,
                     bool randomAccess);
  void addSampleWithAfra(const Track& hint, const KrvoK2MDataBuffer& data, const K2MSampleInfo& info,
                         bool randomAccess);

 private:
  KrvoK2RWriter* writer_ = nullptr;
};

}  // namespace krvo::k2m
