#include "packaging/MTGMediaSource.h"

#include <optional>
#include <utility>

#include "fragmentation/truncation.h"
#include "packaging/K2RTrackIterator.h"
#include "packaging/MTGSampleIterator.h"
#include "packaging/MTGScriptDecoder.h"
#include "packaging/mtgCodec.h"

namespace ruvo::k2rpkgutil {

using namespace qvs::util;

namespace {

/// The next tag of that type that has data. Tags without data have no codec byte to describe a track by.
std::optional<mtg::Tag> firstWithData(const mtg::TagIterator& tags, std::uint32_t type) {
  while (auto tag = tags.next()) {
    const MTGTagInfo info = tag->info();
    if (info.type == type && info.dataSize > 0) return tag;
  }
  return std::nullopt;
}

std::shared_ptr<K2RSampleDescriptor> makeDescriptor(std::shared_ptr<SampleDescInfo> info) {
  auto descriptor = std::make_shared<K2RSampleDescriptor>();
  descriptor->formatCode = info->formatCode;
  descriptor->info = std::move(info);
  return descriptor;
}

std::shared_ptr<K2RTrack> makeTrack(FourCC handler, std::uint64_t duration) {
  auto track = std::make_shared<K2RTrack>();
  track->handlerType = handler;
  track->duration = static_cast<std::uint32_t>(duration);  // not narrowed: it comes from a 32-bit timestamp
  track->flags = 1;
  track->entries = {1, 0, 0};
  return track;
}

/// Reads the number of an entry; a value of another kind leaves `out` unchanged (docs/decisions.md, "A width that is
/// not a number is none").
void takeNumber(const mtg::ScriptData& entry, double& out) {
  try {
    out = entry.number();
  } catch (const mtg::Exception& error) {
    if (error.status() != kKrvoMTGOtherKind) throw;  // a failure of the file must not pass for a missing width
  }
}

}  // namespace

MTGMediaSource::MTGMediaSource(IPackagerContext& context, const std::string& path, std::uint32_t openFlags)
    : context_(context), stream_(path, openFlags), reader_(stream_, allocator_) {
  const PictureSize picture = findPictureSize();
  document_.duration = findDuration();
  const MTGDocInfo content = reader_.docInfo();
  // One iterator for both, in this order: the audio tag that describes the track is the first one after the video tag.
  const mtg::TagIterator tags = reader_.tags();
  if (content.hasVideo != 0) addVideo(tags, picture);
  if (content.hasAudio != 0) addAudio(tags);
}

ITrackIterator* MTGMediaSource::getTracks() {
  return std::make_unique<K2RTrackIterator>(tracks_).release();
}

void MTGMediaSource::getSamples(std::unique_ptr<ISampleIterator>& out) {
  out = std::make_unique<MTGSampleIterator>(context_, reader_.tagsByTypes(filter_));
}

MTGMediaSource::PictureSize MTGMediaSource::findPictureSize() const {
  // A description of the stream is among its first tags and has the time 0; a later one is about another part of it.
  constexpr int kTagsLookedAt = 10;
  PictureSize picture;
  MTGScriptDecoder decoder;
  const mtg::TagIterator tags = reader_.tags();
  for (int count = 0; count < kTagsLookedAt; ++count) {
    const auto tag = tags.next();
    if (!tag || tag->info().timestamp > 0) break;
    if (tag->info().type != kAmf0DataTag) continue;
    const mtg::ScriptData description = tag->scriptData(decoder);
    if (description.name() != "onMetaData") continue;
    const mtg::ScriptDataIterator members = description.members();
    while (const auto member = members.next()) {
      if (member->name() == "width") takeNumber(*member, picture.width);
      if (member->name() == "height") takeNumber(*member, picture.height);
    }
    break;
  }
  return picture;
}

std::uint32_t MTGMediaSource::findDuration() const {
  std::optional<mtg::Tag> last;
  try {
    last = reader_.tags(true).next();
  } catch (const mtg::Exception& error) {
    // A file that was cut off has no back pointer at its end, so the last whole tag is found from the front.
    if (error.status() != kKrvoMTGNoWayBack) throw;
    const mtg::TagIterator tags = reader_.tags();
    while (auto tag = tags.next()) last = std::move(tag);
  }
  return last ? last->info().timestamp : 0;
}

void MTGMediaSource::addVideo(const mtg::TagIterator& tags, const PictureSize& picture) {
  auto track = makeTrack("vide"_4cc, document_.duration);
  // The track keeps a size that is no integer; the description below truncates it, without undefined behaviour.
  track->width = static_cast<float>(picture.width);
  track->height = static_cast<float>(picture.height);
  if (const auto tag = firstWithData(tags, kVideoTag)) {
    auto info = std::make_shared<VideoSampleDescInfo>();
    info->formatCode = mtgVideoFormat(tag->videoInfo().codecId);
    info->handlerCode = "vide"_4cc;
    info->width = ruvo::k2r::truncateTo32Bits(picture.width);
    info->height = ruvo::k2r::truncateTo32Bits(picture.height);
    track->sampleDescriptors.push_back(makeDescriptor(std::move(info)));
  }
  filter_.push_back(kVideoTag);
  tracks_.push_back(std::move(track));
}

void MTGMediaSource::addAudio(const mtg::TagIterator& tags) {
  auto track = makeTrack("soun"_4cc, document_.duration);
  track->volume = 1.0F;
  if (const auto tag = firstWithData(tags, kAudioTag)) {
    const MTGAudioInfo audio = tag->audioInfo();
    auto info = std::make_shared<AudioSampleDescInfo>();
    info->formatCode = mtgAudioFormat(audio.soundFormat);
    info->handlerCode = "soun"_4cc;
    info->sampleRate = mtgSampleRate(audio.rateIndex);
    info->channels = audio.channelBit != 0 ? 2 : 1;
    // Bits, despite the name: those who use this source count on it.
    info->bytesPerSample = audio.sizeBit != 0 ? 16 : 8;
    track->sampleDescriptors.push_back(makeDescriptor(std::move(info)));
  }
  filter_.push_back(kAudioTag);
  tracks_.push_back(std::move(track));
}

}  // namespace ruvo::k2rpkgutil
