#include "wrappers/k2m/handles.h"

#include "wrappers/k2m/Exception.h"
#include "wrappers/k2m/records.h"

namespace krvo::k2m {
namespace {

/// A record that the library fills. It has to have its size first, by which the library checks its version.
template <typename Record, typename Handle>
Record recordFrom(KrvoStatus (*query)(Handle*, Record*), Handle* handle) {
  auto record = makeRecord<Record>();
  check(query(handle, &record));
  return record;
}

/// All objects of an iterator, as counted handles. Releases the iterator, also when an object cannot be had.
template <typename Counted, typename Iterator, typename Handle>
std::vector<Counted> takeAll(Iterator* raw, KrvoStatus (*getNext)(Iterator*, Handle**),
                             KrvoStatus (*release)(Iterator*)) {
  const std::unique_ptr<Iterator, KrvoStatus (*)(Iterator*)> iterator(raw, release);
  std::vector<Counted> all;
  for (;;) {
    Handle* next = nullptr;
    check(getNext(raw, &next));
    if (next == nullptr) return all;
    all.push_back(Counted(next));
  }
}

}  // namespace

SampleDescriptor::SampleDescriptor(KrvoK2MSampleDescriptor* handle)
    : handle_(handle, &KrvoK2MReleaseSampleDescriptor) {}

K2MDescriptorInfo SampleDescriptor::info() const {
  return recordFrom(&KrvoK2MSampleDescriptorGetInfo, get());
}

K2MVideoDescriptorInfo SampleDescriptor::videoInfo() const {
  return recordFrom(&KrvoK2MSampleDescriptorGetVideoInfo, get());
}

K2MAudioDescriptorInfo SampleDescriptor::audioInfo() const {
  return recordFrom(&KrvoK2MSampleDescriptorGetAudioInfo, get());
}

K2MRtmpDescriptorInfo SampleDescriptor::rtmpInfo() const {
  return recordFrom(&KrvoK2MSampleDescriptorGetRtmpInfo, get());
}

qvs::util::ByteBuffer SampleDescriptor::codecHeader() const {
  // Two calls: the description does not change once it is added, so the length is still right.
  const std::uint32_t length = info().codecHeaderLength;
  qvs::util::ByteBuffer bytes(length);
  check(KrvoK2MSampleDescriptorCopyCodecHeaderData(get(), bytes.data(), length));
  return bytes;
}

Track::Track(KrvoK2MTrack* handle) : handle_(handle, &KrvoK2MReleaseTrack) {}

K2MTrackInfo Track::info() const {
  return recordFrom(&KrvoK2MTrackGetInfo, get());
}

K2MEntriesInfo Track::entriesInfo() const {
  return recordFrom(&KrvoK2MTrackGetEntriesInfo, get());
}

std::uint32_t Track::sampleCount() const {
  std::uint32_t count = 0;
  check(KrvoK2MTrackGetSampleCount(get(), &count));
  return count;
}

std::vector<SampleDescriptor> Track::sampleDescriptors() const {
  KrvoK2MSampleDescriptorIterator* raw = nullptr;
  check(KrvoK2MTrackGetSampleDescriptors(get(), &raw));
  return takeAll<SampleDescriptor>(raw, &KrvoK2MSampleDescriptorIteratorGetNext,
                                   &KrvoK2MReleaseSampleDescriptorIterator);
}

std::vector<Track> takeTracks(KrvoK2MTrackIterator* iterator) {
  return takeAll<Track>(iterator, &KrvoK2MTrackIteratorGetNext, &KrvoK2MReleaseTrackIterator);
}

}  // namespace krvo::k2m
