#include "wrappers/k2m/Writer.h"

#include "util/memoryLayer.h"
#include "util/narrow.h"

namespace krvo::k2m {
namespace {

/// Adds a description; the bytes of the codec header stay the caller's, as the library copies them before it returns.
template <typename Record, typename Add>
SampleDescriptor addDescriptor(Add add, KrvoK2MWriter* writer, const Track& track, Record info,
                               std::span<const std::byte> codecHeader) {
  const auto length = qvs::util::narrow<std::uint32_t>(codecHeader.size());
  // The record says how long the header is: set here, so that record and span cannot differ.
  if constexpr (requires { info.base; }) {
    info.base.codecHeaderLength = length;
  } else {
    info.codecHeaderLength = length;
  }
  const KrvoK2MDataBuffer buffer = makeDataBuffer(codecHeader.data());
  KrvoK2MSampleDescriptor* handle = nullptr;
  check(add(writer, track.get(), &info, &buffer, &handle));
  return SampleDescriptor(handle);
}

std::uint32_t flag(bool value) {
  return value ? 1 : 0;
}

}  // namespace

Allocator::Allocator() : callBacks_(makeRecord<KrvoK2MAllocatorCallBacks>()) {
  // From the module's own heap, like all of its memory: the library would otherwise use that of its host process.
  callBacks_.alloc = [](void*, std::uint64_t bytes) { return qvs::util::memory::cAllocation.malloc(bytes); };
  callBacks_.free = [](void*, void* block) { qvs::util::memory::cAllocation.free(block); };
}

Track Writer::addTrack(const K2MTrackInfo& info, const K2MEntriesInfo& entries, const char* name) {
  // A fixed argument, which the library does not use: samples are stored in the order in which they come.
  constexpr std::uint32_t kInterleave = 5000;
  KrvoK2MTrack* handle = nullptr;
  check(KrvoK2MWriterAddTrack(writer_.get(), &info, &entries, kInterleave, name, &handle));
  return Track(handle);
}

SampleDescriptor Writer::addVideoSampleDescriptor(const Track& track, const K2MVideoDescriptorInfo& info,
                                                  std::span<const std::byte> codecHeader) {
  return addDescriptor(&KrvoK2MWriterAddVideoSampleDescriptor, writer_.get(), track, info, codecHeader);
}

SampleDescriptor Writer::addAudioSampleDescriptor(const Track& track, const K2MAudioDescriptorInfo& info,
                                                  std::span<const std::byte> codecHeader) {
  return addDescriptor(&KrvoK2MWriterAddAudioSampleDescriptor, writer_.get(), track, info, codecHeader);
}

SampleDescriptor Writer::addRtmpSampleDescriptor(const Track& track, const K2MRtmpDescriptorInfo& info,
                                                 std::span<const std::byte> codecHeader) {
  return addDescriptor(&KrvoK2MWriterAddRtmpSampleDescriptor, writer_.get(), track, info, codecHeader);
}

SampleDescriptor Writer::addSampleDescriptor(const Track& track, const K2MDescriptorInfo& info,
                                             std::span<const std::byte> codecHeader) {
  return addDescriptor(&KrvoK2MWriterAddSampleDescriptor, writer_.get(), track, info, codecHeader);
}

std::vector<Track> Writer::tracks() const {
  KrvoK2MTrackIterator* iterator = nullptr;
  check(KrvoK2MWriterGetTracks(writer_.get(), &iterator));
  return takeTracks(iterator);
}

void Writer::setSampleDescriptor(const Track& track, const SampleDescriptor& descriptor) {
  check(KrvoK2MWriterSetSampleDescriptor(writer_.get(), track.get(), descriptor.get()));
}

void Writer::flush() {
  check(KrvoK2MWriterFlush(writer_.get()));
}

K2RWriter::K2RWriter(IOStream& stream, const K2MDocInfo& info, const Allocator& allocator) {
  const KrvoK2MIOStreamCallBacks streamCallBacks = makeCallBacks(stream);
  KrvoK2RWriter* writer = nullptr;
  check(KrvoK2RDocCreateNew(&streamCallBacks, &info, &allocator.callBacks(), &writer));
  writer_.reset(writer, &KrvoK2MDestroyWriter);
}

K2RWriter::K2RWriter(IOStream& stream, WarningHandler& warnings, const Allocator& allocator, std::uint64_t position) {
  const KrvoK2MIOStreamCallBacks streamCallBacks = makeCallBacks(stream);
  const KrvoK2MWarningHandlerCallBacks warningCallBacks = makeCallBacks(warnings);
  KrvoK2RWriter* writer = nullptr;
  check(
      KrvoK2RDocOpenForAppend(&streamCallBacks, &warningCallBacks, &allocator.callBacks(), position, nullptr, &writer));
  writer_.reset(writer, &KrvoK2MDestroyWriter);
}

Writer K2RWriter::k2mWriter() const {
  KrvoK2MWriter* k2m = nullptr;
  check(KrvoK2RWriterGetK2MWriterRef(writer_.get(), &k2m));
  // Shares the count of the whole writer, of which it is a part: it is neither counted nor released by itself.
  return Writer(std::shared_ptr<KrvoK2MWriter>(writer_, k2m));
}

Track K2RWriter::addHintTrack(const K2MTrackInfo& info, const K2MEntriesInfo& entries, const char* name,
                              std::span<const Track> mediaTracks) {
  // The kind of hints: stored media tags.
  constexpr std::uint32_t kTagHints = 2;
  std::vector<KrvoK2MTrack*> handles;
  for (const Track& track : mediaTracks) handles.push_back(track.get());
  KrvoK2MTrack* handle = nullptr;
  check(KrvoK2RWriterAddHintTrack(writer_.get(), kTagHints, &info, &entries, 0, name, handles.data(),
                                  qvs::util::narrow<std::uint32_t>(handles.size()), &handle));
  return Track(handle);
}

std::uint64_t K2RWriter::startFragment() {
  std::uint64_t position = 0;
  check(KrvoK2RWriterStartFragment(writer_.get(), &position));
  return position;
}

void K2RWriter::addAbst(std::span<const std::byte> body) {
  const KrvoK2MDataBuffer buffer = makeDataBuffer(body.data());
  check(KrvoK2RWriterAddABST(writer_.get(), &buffer, qvs::util::narrow<std::uint32_t>(body.size())));
}

void K2RWriter::addHintSample(const Track& hint, const Track& media, const KrvoK2MDataBuffer& data,
                              const K2MHintInfo& info, bool randomAccess) {
  check(KrvoK2RWriterAddHintSample(writer_.get(), hint.get(), media.get(), &data, &info.sample, &info.media,
                                   flag(randomAccess)));
}

void K2RWriter::addSampleWithAfra(const Track& hint, const KrvoK2MDataBuffer& data, const K2MSampleInfo& info,
                                  bool randomAccess) {
  check(KrvoK2RWriterAddSampleWithAfra(writer_.get(), hint.get(), &data, &info, flag(randomAccess)));
}

}  // namespace krvo::k2m
