#include "platform/container/records.h"

#include <algorithm>
#include <limits>

#include "platform/container/dates.h"
#include "platform/container/reading/sampleEntry.h"
#include "util/narrow.h"

namespace krvo::container {
namespace {

using qvs::util::narrow;

constexpr std::uint32_t kMaxFlags = 0xFFFFFF;
/// Bits of a sample in an audio entry if the caller does not know them: the value that most decoders expect.
constexpr std::uint32_t kDefaultBits = 16;
constexpr std::array<char, 3> kUndetermined{'u', 'n', 'd'};

/// Fields that only describe how a picture is shown must not fail a recording.
std::uint16_t saturate16(std::uint32_t value) {
  return static_cast<std::uint16_t>(std::min<std::uint32_t>(value, std::numeric_limits<std::uint16_t>::max()));
}

std::array<char, 3> languageOf(const K2MTrackInfo& info) {
  if (info.language[0] == 0) return kUndetermined;  // the field must have some language (ISO 639-2)
  const std::array<char, 3> letters{info.language[0], info.language[1], info.language[2]};
  require(std::all_of(letters.begin(), letters.end(), [](char c) { return c >= 'a' && c <= 'z'; }));
  return letters;
}

/// A record with its plain part, and the description's fields of that kind. Refuses a description of another kind.
template <typename Record, typename Format>
Record withPlainForm(const SampleDescription& description, const Format*& format, FourCC handler) {
  format = std::get_if<Format>(&description.format);
  require(format != nullptr);
  Record record{};
  record.base = descriptorInfo(description, handler);
  record.base.size = sizeof(Record);
  return record;
}

}  // namespace

Movie makeMovie(const K2MDocInfo& info) {
  require(info.timescale != 0);
  Movie movie;
  movie.created = toSeconds(info.created);
  movie.modified = toSeconds(info.modified);
  movie.timescale = info.timescale;
  movie.duration = info.duration;
  movie.rate = info.rate;
  movie.volume = info.volume;
  return movie;
}

std::shared_ptr<Track> makeTrack(const K2MTrackInfo& info, const char* name) {
  // A timescale of 0 would make every time meaningless; players divide by it.
  require(info.timescale != 0 && info.flags <= kMaxFlags);
  auto track = std::make_shared<Track>();
  track->handler = info.handlerType;
  if (name != nullptr) track->handlerName = name;
  track->flags = info.flags;
  track->timescale = info.timescale;
  track->created = toSeconds(info.created);
  track->modified = toSeconds(info.modified);
  track->duration = info.duration;
  track->width = info.width;
  track->height = info.height;
  track->volume = info.volume;
  track->language = languageOf(info);
  return track;
}

SampleDescription makeDescription(const K2MDescriptorInfo& info) {
  SampleDescription description;
  description.formatCode = storedFormatCode(info.formatCode);
  return description;
}

SampleDescription makeDescription(const K2MVideoDescriptorInfo& info) {
  SampleDescription description = makeDescription(info.base);
  description.format = VideoFormat{.width = saturate16(info.width),
                                   .height = saturate16(info.height),
                                   .horizontalResolution = info.horizontalResolution,
                                   .verticalResolution = info.verticalResolution,
                                   .frameCount = info.frameCount,
                                   .depth = info.depth};
  return description;
}

SampleDescription makeDescription(const K2MAudioDescriptorInfo& info) {
  SampleDescription description = makeDescription(info.base);
  const std::uint64_t bits = info.bytesPerSample == 0 ? kDefaultBits : std::uint64_t{info.bytesPerSample} * 8;
  description.format = AudioFormat{.sampleRate = info.sampleRate,
                                   .channels = narrow<std::uint16_t>(info.channels),
                                   .bitsPerSample = narrow<std::uint16_t>(bits)};
  return description;
}

SampleDescription makeDescription(const K2MRtmpDescriptorInfo& info) {
  SampleDescription description = makeDescription(info.base);
  description.format = HintFormat{.hintTrackVersion = info.hintTrackVersion,
                                  .highestCompatibleVersion = info.highestCompatibleVersion,
                                  .maximumPacketSize = info.maximumPacketSize};
  return description;
}

K2MTrackInfo trackInfo(const Track& track) {
  K2MTrackInfo info{};
  info.size = sizeof(info);
  info.handlerType = track.handler;
  info.flags = track.flags;
  info.timescale = track.timescale;
  info.created = toDate(track.created);
  info.modified = toDate(track.modified);
  info.duration = track.duration;
  info.width = track.width;
  info.height = track.height;
  info.volume = track.volume;
  std::copy(track.language.begin(), track.language.end(), info.language);
  info.handlerNameLength = narrow<std::uint32_t>(track.handlerName.size() + 1);
  return info;
}

K2MEntriesInfo entriesInfo(const Track& track) {
  const std::size_t length = track.descriptions.empty() ? 0 : track.descriptions.front()->codecHeader.size();
  return {.size = sizeof(K2MEntriesInfo), .values = {1, 1000, narrow<std::uint32_t>(length)}};
}

K2MDescriptorInfo descriptorInfo(const SampleDescription& description, FourCC handler) {
  return {.size = sizeof(K2MDescriptorInfo),
          .codecHeaderLength = narrow<std::uint32_t>(description.codecHeader.size()),
          .formatCode = description.formatCode,
          .handlerCode = handler};
}

K2MVideoDescriptorInfo videoDescriptorInfo(const SampleDescription& description) {
  const VideoFormat* format = nullptr;
  auto info = withPlainForm<K2MVideoDescriptorInfo>(description, format, "vide"_4cc);
  info.width = format->width;
  info.height = format->height;
  info.horizontalResolution = format->horizontalResolution;
  info.verticalResolution = format->verticalResolution;
  info.frameCount = format->frameCount;
  info.depth = format->depth;
  return info;
}

K2MAudioDescriptorInfo audioDescriptorInfo(const SampleDescription& description) {
  const AudioFormat* format = nullptr;
  auto info = withPlainForm<K2MAudioDescriptorInfo>(description, format, "soun"_4cc);
  info.sampleRate = format->sampleRate;
  info.channels = format->channels;
  info.bytesPerSample = format->bitsPerSample / 8U;
  return info;
}

K2MRtmpDescriptorInfo rtmpDescriptorInfo(const SampleDescription& description) {
  const HintFormat* format = nullptr;
  auto info = withPlainForm<K2MRtmpDescriptorInfo>(description, format, "hint"_4cc);
  info.hintTrackVersion = format->hintTrackVersion;
  info.highestCompatibleVersion = format->highestCompatibleVersion;
  info.maximumPacketSize = format->maximumPacketSize;
  return info;
}

K2MSampleInfo sampleInfo(const Track& track, const StoredSample& sample) {
  return {.size = sizeof(K2MSampleInfo),
          .length = sample.size,
          .time = sample.decodeTime,
          .timescale = track.timescale,
          // Signed, in the unsigned field of the record.
          .compositionOffset = static_cast<std::uint32_t>(sample.compositionOffset),
          .sampleType = track.handler,
          .flags = sample.sync ? 1U : 0U};
}

}  // namespace krvo::container
