#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "platform/container/krvo_k2m.h"
#include "wrappers/k2m/Exception.h"
#include "wrappers/k2m/IOStream.h"
#include "wrappers/k2m/handles.h"
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

/// The part of a segment's writer that knows tracks, counted with the K2RWriter that gave it. Every operation throws
/// Exception for a status other than 0. The size of `codecHeader` takes the place of the length in the record.
class Writer {
 public:
  explicit Writer(std::shared_ptr<KrvoK2MWriter> writer) : writer_(std::move(writer)) {}

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
  std::shared_ptr<KrvoK2MWriter> writer_;
};

/// A counted handle on one segment file being written. The last copy ends the file; what fails then is not reported.
class K2RWriter {
 public:
  /// A new segment. `stream` and `allocator` outlive the writer.
  K2RWriter(IOStream& stream, const K2MDocInfo& info, const Allocator& allocator);
  /// An existing segment, continued behind the fragment at `position`. `warnings` is not used once this is made.
  K2RWriter(IOStream& stream, WarningHandler& warnings, const Allocator& allocator, std::uint64_t position);

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
  std::shared_ptr<KrvoK2RWriter> writer_;
};

}  // namespace krvo::k2m
