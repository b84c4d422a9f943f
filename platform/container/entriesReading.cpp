// The entries that read tracks and their descriptions, and release the handles on them.

#include <cstring>

#include "platform/container/handles.h"
#include "platform/container/records.h"
#include "platform/container/status.h"

using namespace krvo::container;

namespace {

/// Fills the caller's record with what `make` returns for the object of a handle.
template <typename Handle, typename Record, typename Make>
KrvoStatus fill(const Handle* handle, Record* out, const Make& make) {
  return guarded([&] {
    require(handle != nullptr);
    checked(out) = make(*handle);
  });
}

}  // namespace

KrvoStatus KrvoK2MWriterGetTracks(KrvoK2MWriter* writer, KrvoK2MTrackIterator** iterator) {
  return guarded([=] {
    require(writer != nullptr && iterator != nullptr);
    *iterator = giveHandle<KrvoK2MTrackIterator>(writer->segment->movie().tracks);
  });
}

KrvoStatus KrvoK2MTrackIteratorGetNext(KrvoK2MTrackIterator* iterator, KrvoK2MTrack** track) {
  return guarded([=] {
    require(iterator != nullptr && track != nullptr);
    *track = nullptr;
    if (iterator->next == iterator->tracks.size()) return;
    *track = giveHandle<KrvoK2MTrack>(iterator->tracks[iterator->next]);
    ++iterator->next;  // after the handle, which may fail for lack of memory: the next call then repeats this one
  });
}

KrvoStatus KrvoK2MReleaseTrackIterator(KrvoK2MTrackIterator* iterator) {
  return takeHandle(iterator);
}

KrvoStatus KrvoK2MTrackGetInfo(KrvoK2MTrack* track, K2MTrackInfo* info) {
  return fill(track, info, [](const KrvoK2MTrack& handle) { return trackInfo(*handle.track); });
}

KrvoStatus KrvoK2MTrackGetEntriesInfo(KrvoK2MTrack* track, K2MEntriesInfo* info) {
  return fill(track, info, [](const KrvoK2MTrack& handle) { return entriesInfo(*handle.track); });
}

KrvoStatus KrvoK2MTrackGetSampleCount(KrvoK2MTrack* track, std::uint32_t* count) {
  return guarded([=] {
    require(track != nullptr && count != nullptr);
    *count = track->track->sampleCount;
  });
}

KrvoStatus KrvoK2MTrackGetSampleDescriptors(KrvoK2MTrack* track, KrvoK2MSampleDescriptorIterator** iterator) {
  return guarded([=] {
    require(track != nullptr && iterator != nullptr);
    *iterator = giveHandle<KrvoK2MSampleDescriptorIterator>(track->track);
  });
}

KrvoStatus KrvoK2MSampleDescriptorIteratorGetNext(KrvoK2MSampleDescriptorIterator* iterator,
                                                  KrvoK2MSampleDescriptor** descriptor) {
  return guarded([=] {
    require(iterator != nullptr && descriptor != nullptr);
    *descriptor = nullptr;
    const auto& descriptions = iterator->track->descriptions;
    if (iterator->next == descriptions.size()) return;
    *descriptor = giveHandle<KrvoK2MSampleDescriptor>(descriptions[iterator->next], iterator->track->handler);
    ++iterator->next;
  });
}

KrvoStatus KrvoK2MReleaseSampleDescriptorIterator(KrvoK2MSampleDescriptorIterator* iterator) {
  return takeHandle(iterator);
}

KrvoStatus KrvoK2MSampleDescriptorGetInfo(KrvoK2MSampleDescriptor* descriptor, K2MDescriptorInfo* info) {
  return fill(descriptor, info, [](const KrvoK2MSampleDescriptor& handle) {
    return descriptorInfo(*handle.description, handle.handler);
  });
}

KrvoStatus KrvoK2MSampleDescriptorGetVideoInfo(KrvoK2MSampleDescriptor* descriptor, K2MVideoDescriptorInfo* info) {
  return fill(descriptor, info,
              [](const KrvoK2MSampleDescriptor& handle) { return videoDescriptorInfo(*handle.description); });
}

KrvoStatus KrvoK2MSampleDescriptorGetAudioInfo(KrvoK2MSampleDescriptor* descriptor, K2MAudioDescriptorInfo* info) {
  return fill(descriptor, info,
              [](const KrvoK2MSampleDescriptor& handle) { return audioDescriptorInfo(*handle.description); });
}

KrvoStatus KrvoK2MSampleDescriptorGetRtmpInfo(KrvoK2MSampleDescriptor* descriptor, K2MRtmpDescriptorInfo* info) {
  return fill(descriptor, info,
              [](const KrvoK2MSampleDescriptor& handle) { return rtmpDescriptorInfo(*handle.description); });
}

KrvoStatus KrvoK2MSampleDescriptorCopyCodecHeaderData(KrvoK2MSampleDescriptor* descriptor, void* buffer,
                                                      std::uint32_t length) {
  return guarded([=] {
    require(descriptor != nullptr);
    const auto& codecHeader = descriptor->description->codecHeader;
    require(length == codecHeader.size() && (buffer != nullptr || length == 0));
    if (length != 0) std::memcpy(buffer, codecHeader.data(), length);
  });
}

KrvoStatus KrvoK2MReleaseTrack(KrvoK2MTrack* track) {
  return takeHandle(track);
}

KrvoStatus KrvoK2MReleaseSampleDescriptor(KrvoK2MSampleDescriptor* descriptor) {
  return takeHandle(descriptor);
}
