#include "wrappers/k2m/Reader.h"

#include "util/narrow.h"
#include "wrappers/k2m/Exception.h"
#include "wrappers/k2m/records.h"

namespace krvo::k2m {

Sample::Sample(KrvoK2MSample* handle) : handle_(handle, &KrvoK2MReleaseSample) {}

K2MSampleInfo Sample::info() const {
  auto info = makeRecord<K2MSampleInfo>();
  check(KrvoK2MSampleGetInfo(handle_.get(), &info));
  return info;
}

SampleDescriptor Sample::descriptor() const {
  KrvoK2MSampleDescriptor* handle = nullptr;
  check(KrvoK2MSampleGetSampleDescriptor(handle_.get(), &handle));
  return SampleDescriptor(handle);
}

void Sample::copyData(std::span<std::byte> out) const {
  check(KrvoK2MSampleCopyData(handle_.get(), out.data(), qvs::util::narrow<std::uint32_t>(out.size())));
}

SampleIterator::SampleIterator(KrvoK2MSampleIterator* handle) : handle_(handle, &KrvoK2MReleaseSampleIterator) {}

std::optional<Sample> SampleIterator::next() const {
  KrvoK2MSample* next = nullptr;
  check(KrvoK2MSampleIteratorGetNext(handle_.get(), &next));
  // The end is a null sample with status 0, not a status of its own.
  if (next == nullptr) return std::nullopt;
  return Sample(next);
}

Reader::Reader(IOStream& stream) {
  const KrvoK2MIOStreamCallBacks callBacks = makeCallBacks(stream);
  // The callbacks may live on the stack: the library copies the record.
  KrvoK2MReader* reader = nullptr;
  check(KrvoK2RDocOpenForRead(&callBacks, &reader));
  // Not before the status is checked: after a failure there is nothing to release.
  handle_.reset(reader, &KrvoK2MReleaseReader);
}

std::vector<Track> Reader::tracks() const {
  KrvoK2MTrackIterator* iterator = nullptr;
  check(KrvoK2MReaderGetTracks(handle_.get(), &iterator));
  return takeTracks(iterator);
}

SampleIterator Reader::samples(const Track& track) const {
  KrvoK2MSampleIterator* iterator = nullptr;
  check(KrvoK2MReaderGetSamples(handle_.get(), track.get(), &iterator));
  return SampleIterator(iterator);
}

}  // namespace krvo::k2m
