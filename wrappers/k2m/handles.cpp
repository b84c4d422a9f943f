// What is read through the handles on tracks and descriptions.

#include "wrappers/k2m/Writer.h"

namespace krvo::k2m {
namespace {

/// A record that the library fills.
template <typename Record, typename Handle>
Record ask(KrvoStatus (*query)(Handle*, Record*), Handle* handle) {
  auto record = makeRecord<Record>();
  check(query(handle, &record));
  return record;
}

}  // namespace

SampleDescriptor::SampleDescriptor(KrvoK2MSampleDescriptor* handle)
    : handle_(handle, &KrvoK2MReleaseSampleDescriptor) {}

K2MDescriptorInfo SampleDescriptor::info() const {
  return ask(&KrvoK2MSampleDescriptorGetInfo, get());
}

K2MVideoDescriptorInfo SampleDescriptor::videoInfo() const {
  return ask(&KrvoK2MSampleDescriptorGetVideoInfo, get());
}

K2MAudioDescriptorInfo SampleDescriptor::audioInfo() const {
  return ask(&KrvoK2MSampleDescriptorGetAudioInfo, get());
}

K2MRtmpDescriptorInfo SampleDescriptor::rtmpInfo() const {
  return ask(&KrvoK2MSampleDescriptorGetRtmpInfo, get());
}

qvs::util::ByteBuffer SampleDescriptor::codecHeader() const {
  const std::uint32_t length = info().codecHeaderLength;
  qvs::util::ByteBuffer bytes(length);
  check(KrvoK2MSampleDescriptorCopyCodecHeaderData(get(), bytes.data(), length));
  return bytes;
}

Track::Track(KrvoK2MTrack* handle) : handle_(handle, &KrvoK2MReleaseTrack) {}

K2MTrackInfo Track::info() const {
  return ask(&KrvoK2MTrackGetInfo, get());
}

K2MEntriesInfo Track::entriesInfo() const {
  return ask(&KrvoK2MTrackGetEntriesInfo, get());
}

std::uint32_t Track::sampleCount() const {
  std::uint32_t count = 0;
  check(KrvoK2MTrackGetSampleCount(get(), &count));
  return count;
}

std::vector<SampleDescriptor> Track::sampleDescriptors() const {
  KrvoK2MSampleDescriptorIterator* raw = nullptr;
  check(KrvoK2MTrackGetSampleDescriptors(get(), &raw));
  const std::unique_ptr<KrvoK2MSampleDescriptorIterator, decltype(&KrvoK2MReleaseSampleDescriptorIterator)> iterator(
      raw, &KrvoK2MReleaseSampleDescriptorIterator);
  std::vector<SampleDescriptor> descriptors;
  for (;;) {
    KrvoK2MSampleDescriptor* next = nullptr;
    check(KrvoK2MSampleDescriptorIteratorGetNext(iterator.get(), &next));
    if (next == nullptr) return descriptors;
    descriptors.push_back(SampleDescriptor(next));
  }
}

}  // namespace krvo::k2m
