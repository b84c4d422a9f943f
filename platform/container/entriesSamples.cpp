// The entries that read the samples of a segment back.

#include <algorithm>
#include <utility>

#include "platform/container/handles.h"
#include "platform/container/records.h"
#include "platform/container/status.h"

using namespace krvo::container;

KrvoStatus KrvoK2RDocOpenForRead(const KrvoK2MIOStreamCallBacks* stream, KrvoK2MReader** reader) {
  return guarded([=] {
    require(reader != nullptr);
    *reader = giveHandle<KrvoK2MReader>(std::make_shared<StoredSegment>(checked(stream)));
  });
}

KrvoStatus KrvoK2MReaderGetTracks(KrvoK2MReader* reader, KrvoK2MTrackIterator** iterator) {
  return guarded([=] {
    require(reader != nullptr && iterator != nullptr);
    *iterator = giveHandle<KrvoK2MTrackIterator>(reader->segment->reader.movie().tracks);
  });
}

KrvoStatus KrvoK2MReaderGetSamples(KrvoK2MReader* reader, KrvoK2MTrack* track, KrvoK2MSampleIterator** iterator) {
  return guarded([=] {
    require(reader != nullptr && track != nullptr && iterator != nullptr);
    const auto& tracks = reader->segment->reader.movie().tracks;
    // A track of another segment would be searched for by its id, and found.
    require(std::ranges::find(tracks, track->track) != tracks.end());
    *iterator = giveHandle<KrvoK2MSampleIterator>(SampleWalk(reader->segment, track->track));
  });
}

KrvoStatus KrvoK2MSampleIteratorGetNext(KrvoK2MSampleIterator* iterator, KrvoK2MSample** sample) {
  return guarded([=] {
    require(iterator != nullptr && sample != nullptr);
    *sample = nullptr;
    if (auto next = iterator->walk.next()) *sample = giveHandle<KrvoK2MSample>(std::move(*next));
  });
}

KrvoStatus KrvoK2MSampleGetInfo(KrvoK2MSample* sample, K2MSampleInfo* info) {
  return guarded([=] {
    require(sample != nullptr);
    checked(info) = sampleInfo(*sample->sample.track, sample->sample.stored);
  });
}

KrvoStatus KrvoK2MSampleGetSampleDescriptor(KrvoK2MSample* sample, KrvoK2MSampleDescriptor** descriptor) {
  return guarded([=] {
    require(sample != nullptr && descriptor != nullptr);
    *descriptor = giveHandle<KrvoK2MSampleDescriptor>(sample->sample.description, sample->sample.track->handler);
  });
}

KrvoStatus KrvoK2MSampleCopyData(KrvoK2MSample* sample, void* buffer, std::uint32_t length) {
  return guarded([=] {
    require(sample != nullptr && buffer != nullptr);
    const StoredSample& stored = sample->sample.stored;
    // Not less either: the caller's buffer would have bytes that were not filled.
    require(length == stored.size);
    sample->sample.segment->stream.read(stored.offset, {static_cast<std::byte*>(buffer), length});
  });
}

KrvoStatus KrvoK2MReleaseReader(KrvoK2MReader* reader) {
  return takeHandle(reader);
}

KrvoStatus KrvoK2MReleaseSampleIterator(KrvoK2MSampleIterator* iterator) {
  return takeHandle(iterator);
}

KrvoStatus KrvoK2MReleaseSample(KrvoK2MSample* sample) {
  return takeHandle(sample);
}
