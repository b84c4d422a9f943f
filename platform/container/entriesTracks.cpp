// The entries that declare tracks and their descriptions.

#include <algorithm>
#include <utility>

#include "platform/container/OwnedData.h"
#include "platform/container/handles.h"
#include "platform/container/reading/boxes.h"
#include "platform/container/records.h"
#include "platform/container/status.h"

using namespace krvo::container;

namespace {

SegmentWriter& segmentOf(KrvoK2MWriter* writer) {
  require(writer != nullptr);
  return *writer->segment;
}

bool isMediaHandler(FourCC handler) {
  return handler == "vide"_4cc || handler == "soun"_4cc || handler == "meta"_4cc;
}

/// Adds a description of any of the four forms. `handler` is the handler type of the tracks that may have this form.
template <typename Record>
void addDescription(KrvoK2MWriter* writer, KrvoK2MTrack* track, const Record* info, const OwnedData& codecHeader,
                    FourCC handler, KrvoK2MSampleDescriptor** out) {
  require(track != nullptr && out != nullptr);
  SegmentWriter& segment = segmentOf(writer);
  segment.indexOf(*track->track);
  require(segment.takesTracks() && track->track->handler == handler);

  auto description = std::make_shared<SampleDescription>(makeDescription(checked(info)));
  K2MDescriptorInfo plain{};
  if constexpr (requires { info->base; }) {
    plain = info->base;
  } else {
    plain = *info;
  }
  if (plain.codecHeaderLength != 0) {
    require(codecHeader.valid() && codecHeader.data() != nullptr);
    require(plain.codecHeaderLength <= kMaxLoadedBox, kKrvoTooLarge);  // before it is copied
    description->codecHeader.assign(codecHeader.data(), codecHeader.data() + plain.codecHeaderLength);
  }
  auto& descriptions = track->track->descriptions;
  // Room first, so that the description is not without a handle, nor the handle without its description.
  descriptions.reserve(descriptions.size() + 1);
  *out = giveHandle<KrvoK2MSampleDescriptor>(description, handler);
  descriptions.push_back(std::move(description));
}

}  // namespace

KrvoStatus KrvoK2MWriterAddTrack(KrvoK2MWriter* writer, const K2MTrackInfo* info, const K2MEntriesInfo* entries,
                                 std::uint32_t, const char* name, KrvoK2MTrack** track) {
  return guarded([=] {
    require(track != nullptr);
    SegmentWriter& segment = segmentOf(writer);
    checked(entries);
    require(isMediaHandler(checked(info).handlerType));
    auto made = makeTrack(*info, name);
    // The handle is made first: if it fails, the segment has no track without a handle.
    std::unique_ptr<KrvoK2MTrack> handle(giveHandle<KrvoK2MTrack>(made));
    segment.addTrack(made);
    *track = handle.release();
  });
}

KrvoStatus KrvoK2RWriterAddHintTrack(KrvoK2RWriter* writer, std::uint32_t hintType, const K2MTrackInfo* info,
                                     const K2MEntriesInfo* entries, std::uint32_t, const char* name,
                                     KrvoK2MTrack* const* mediaTracks, std::uint32_t mediaTrackCount,
                                     KrvoK2MTrack** track) {
  constexpr std::uint32_t kTagHints = 2;
  return guarded([=] {
    require(writer != nullptr && track != nullptr && hintType == kTagHints);
    require(mediaTracks != nullptr || mediaTrackCount == 0);
    checked(entries);
    require(checked(info).handlerType == "hint"_4cc);
    SegmentWriter& segment = *writer->segment;
    const auto& known = segment.movie().tracks;
    // All tags of a fragment form one sequence, so a segment has one hint track.
    require(std::none_of(known.begin(), known.end(), [](const auto& other) { return other->isHint(); }));

    auto made = makeTrack(*info, name);
    for (std::uint32_t i = 0; i < mediaTrackCount; ++i) {
      require(mediaTracks[i] != nullptr);
      segment.indexOf(*mediaTracks[i]->track);
      made->hintedTracks.push_back(mediaTracks[i]->track->id);
    }
    std::unique_ptr<KrvoK2MTrack> handle(giveHandle<KrvoK2MTrack>(made));
    segment.addTrack(made);
    *track = handle.release();
  });
}

KrvoStatus KrvoK2MWriterAddVideoSampleDescriptor(KrvoK2MWriter* writer, KrvoK2MTrack* track,
                                                 const K2MVideoDescriptorInfo* info,
                                                 const KrvoK2MDataBuffer* codecHeader,
                                                 KrvoK2MSampleDescriptor** descriptor) {
  const OwnedData owned(codecHeader);
  return guarded([&] { addDescription(writer, track, info, owned, "vide"_4cc, descriptor); });
}

KrvoStatus KrvoK2MWriterAddAudioSampleDescriptor(KrvoK2MWriter* writer, KrvoK2MTrack* track,
                                                 const K2MAudioDescriptorInfo* info,
                                                 const KrvoK2MDataBuffer* codecHeader,
                                                 KrvoK2MSampleDescriptor** descriptor) {
  const OwnedData owned(codecHeader);
  return guarded([&] { addDescription(writer, track, info, owned, "soun"_4cc, descriptor); });
}

KrvoStatus KrvoK2MWriterAddRtmpSampleDescriptor(KrvoK2MWriter* writer, KrvoK2MTrack* track,
                                                const K2MRtmpDescriptorInfo* info, const KrvoK2MDataBuffer* codecHeader,
                                                KrvoK2MSampleDescriptor** descriptor) {
  const OwnedData owned(codecHeader);
  return guarded([&] { addDescription(writer, track, info, owned, "hint"_4cc, descriptor); });
}

KrvoStatus KrvoK2MWriterAddSampleDescriptor(KrvoK2MWriter* writer, KrvoK2MTrack* track, const K2MDescriptorInfo* info,
                                            const KrvoK2MDataBuffer* codecHeader,
                                            KrvoK2MSampleDescriptor** descriptor) {
  const OwnedData owned(codecHeader);
  return guarded([&] { addDescription(writer, track, info, owned, "meta"_4cc, descriptor); });
}

KrvoStatus KrvoK2MWriterSetSampleDescriptor(KrvoK2MWriter* writer, KrvoK2MTrack* track,
                                            KrvoK2MSampleDescriptor* descriptor) {
  return guarded([=] {
    require(track != nullptr && descriptor != nullptr);
    segmentOf(writer).indexOf(*track->track);
    const auto& descriptions = track->track->descriptions;
    const auto found = std::find(descriptions.begin(), descriptions.end(), descriptor->description);
    require(found != descriptions.end());
    track->track->selectedDescription = static_cast<std::uint32_t>(found - descriptions.begin() + 1);
  });
}
