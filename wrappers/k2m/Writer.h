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

/// The allocation callbacks given to the library, which take blocks from the module's heap. If memory is short the
/// library gets a null pointer and returns kKrvoOutOfMemory. Has no state, so one object may serve all writers; it
/// outlives them.
class Allocator {
 public:
  Allocator();
  const KrvoK2MAllocatorCallBacks& callBacks() const { return callBacks_; }

 private:
  KrvoK2MAllocatorCallBacks callBacks_;
};

/// The part of a segment's writer that has the tracks; it shares the count of the K2RWriter that it came from, and
/// keeps the file open as long as it lives. Every operation throws Exception for a status other than 0, and
/// std::out_of_range for a size that does not fit 32 bits. The size of `codecHeader` replaces the length in `info`.
///
/// Tracks and their descriptions are added before the first startFragment(), since that writes the header.
class Writer {
 public:
  explicit Writer(std::shared_ptr<KrvoK2MWriter> writer) : writer_(std::move(writer)) {}

  /// `name` is zero-terminated, or null.
  Track addTrack(const K2MTrackInfo& info, const K2MEntriesInfo& entries, const char* name);
  // By the handler type of the track: "vide", "soun", "hint" with the subtype "rtmp", and all others.
  SampleDescriptor addVideoSampleDescriptor(const Track& track, const K2MVideoDescriptorInfo& info,
                                            std::span<const std::byte> codecHeader);
  SampleDescriptor addAudioSampleDescriptor(const Track& track, const K2MAudioDescriptorInfo& info,
                                            std::span<const std::byte> codecHeader);
  SampleDescriptor addRtmpSampleDescriptor(const Track& track, const K2MRtmpDescriptorInfo& info,
                                           std::span<const std::byte> codecHeader);
  SampleDescriptor addSampleDescriptor(const Track& track, const K2MDescriptorInfo& info,
                                       std::span<const std::byte> codecHeader);
  /// All tracks, those read back from an existing segment included.
  std::vector<Track> tracks() const;
  /// Selects the description that the next samples of the track refer to.
  void setSampleDescriptor(const Track& track, const SampleDescriptor& descriptor);
  /// Flushes the stream. The samples of the open fragment are not written.
  void flush();

 private:
  std::shared_ptr<KrvoK2MWriter> writer_;
};

/// A counted handle on one segment file that is written. The last copy writes the end of the file; a failure of that is
/// not reported, since a destructor runs it. Belongs to one thread. Every operation throws like those of Writer.
///
/// A new segment: addTrack() and a description for each media track, addHintTrack() and its description,
/// startFragment(). An existing one: the constructor reads the tracks back; setSampleDescriptor() for each of them,
/// startFragment(). Then for each fragment: addAbst(), the samples in the order of their times, startFragment(), which
/// returns the place of the fragment after it. The fragment that is open at the end is dropped.
class K2RWriter {
 public:
  /// A new segment. `stream`, which is opened here, and `allocator` outlive the writer.
  K2RWriter(IOStream& stream, const K2MDocInfo& info, const Allocator& allocator);
  /// An existing segment, continued after the fragment at `position`, a byte offset from the index: what follows that
  /// fragment will be overwritten. `warnings` is asked in the constructor only, and need not outlive it.
  K2RWriter(IOStream& stream, WarningHandler& warnings, const Allocator& allocator, std::uint64_t position);

  /// The part that has the tracks. It may outlive this handle, and then keeps the file open.
  Writer k2mWriter() const;
  /// Adds the track whose samples are tags that refer to samples of `mediaTracks`, in this order. After these.
  Track addHintTrack(const K2MTrackInfo& info, const K2MEntriesInfo& entries, const char* name,
                     std::span<const Track> mediaTracks);
  /// Writes the open fragment and begins the next; returns the byte offset at which that will begin. The stream has all
  /// of its bytes when it returns. After a failure the open fragment is empty and begins where it began before, so the
  /// caller adds its samples again.
  std::uint64_t startFragment();
  /// Begins the content of the open fragment and drops what was added to it before. `body` is an `abst` box without its
  /// first 12 bytes; it is not copied and has to stay in place until the next startFragment().
  void addAbst(std::span<const std::byte> body);
  /// Adds a sample of `media` together with the hint sample that refers to it; `data` is a tag, of which `info.media`
  /// names the part that is the media sample. The library calls `data.free` once, also if this throws. With
  /// `randomAccess` the sample gets an entry in the index of the fragment.
  void addHintSample(const Track& hint, const Track& media, const KrvoK2MDataBuffer& data, const K2MHintInfo& info,
                     bool randomAccess);
  /// The same for a hint sample without a media sample, such as one of script data.
  void addSampleWithAfra(const Track& hint, const KrvoK2MDataBuffer& data, const K2MSampleInfo& info,
                         bool randomAccess);

 private:
  std::shared_ptr<KrvoK2RWriter> writer_;
};

}  // namespace krvo::k2m
