#pragma once

#include <variant>

#include "packaging/IPackagerContext.h"
#include "packaging/K2RMediaWriter.h"
#include "packaging/K2RMediaWriterPolicy.h"
#include "packaging/K2RTrackIterator.h"
#include "packaging/RefCountedMemoryArena.h"
#include "packaging/RefMessage.h"
#include "packaging/SampleDescriptors.h"
#include "platform/container/reading/SegmentReader.h"
#include "tests/support/MemoryStream.h"
#include "tests/support/testing.h"

namespace test {

// The codec headers of the fixture's AVC and AAC tracks.
inline constexpr char kAvcC[] = "0000000f 61766343 0164001e ffe100";
inline constexpr char kEsds[] =
    "00000033 65736473 00000000 03808080 22004010 04808080 14401500 06000000 00000000 00000580 80800212 10068080 "
    "800102";

/// What a sample description says: format and handler code, picture or sound, the length of the codec header, and the
/// header itself with the protection after it.
inline std::string describe(const ruvo::k2rpkgutil::K2RSampleDescriptor& descriptor) {
  using namespace ruvo::k2rpkgutil;
  const SampleDescInfo& info = *descriptor.info;
  EXPECT_EQ(info.formatCode, descriptor.formatCode);
  std::ostringstream text;
  text << (info.formatCode == 0 ? "-" : qvs::util::toText(info.formatCode)) << " "
       << qvs::util::toText(info.handlerCode);
  if (const auto* video = dynamic_cast<const VideoSampleDescInfo*>(&info)) {
    text << " " << video->width << "x" << video->height << " " << video->horizontalResolution << "x"
         << video->verticalResolution << " " << video->frameCount << " " << video->depth;
  } else if (const auto* audio = dynamic_cast<const AudioSampleDescInfo*>(&info)) {
    text << " " << audio->sampleRate << "x" << audio->channels << "x" << audio->bytesPerSample;
  }
  text << " " << info.codecHeaderLength;
  for (const auto& box : {descriptor.codecHeader, descriptor.protection})
    if (!box.empty()) text << ": " << hex(box.bytes());
  return text.str();
}

/// The tracks of a writer or of a source, a line each: handler, language, timescale and flags, then the descriptions.
template <typename Source>
std::string tracksOf(Source& source) {
  const std::unique_ptr<ruvo::k2rpkgutil::ITrackIterator> tracks(source.getTracks());
  std::string text;
  std::shared_ptr<ruvo::k2rpkgutil::K2RTrack> track;
  for (; tracks->hasNext(); text += "\n") {
    tracks->next(track);
    std::ostringstream values;
    values << track->language << " " << track->timescale << " " << track->flags << " " << track->duration << " "
           << track->width << "x" << track->height << " " << track->volume << " " << track->handlerNameLength;
    for (const auto entry : track->entries) values << " " << entry;
    text += qvs::util::toText(track->handlerType) + " " + values.str();
    for (const auto& descriptor : track->sampleDescriptors) text += " " + describe(*descriptor);
  }
  tracks->next(track);
  EXPECT_EQ(track, nullptr) << "behind the last one";
  return text;
}

/// What a stream's first message of this kind makes of its track's description; null where that says nothing of it.
inline auto descriptorOf(std::uint8_t type, const char* firstData) {
  const auto data = fromHex(firstData);
  const ruvo::k2rpkgutil::RefMessage message(type, data.data(), static_cast<std::uint32_t>(data.size()), 0);
  return ruvo::k2rpkgutil::makeSampleDescriptor(message, 640, 360);
}

/// A segment file as lines of text.
class SegmentImage {
 public:
  explicit SegmentImage(std::span<const std::byte> file) {
    using namespace krvo::container;
    MemoryStream source(file);
    SegmentReader reader(source);
    for (const auto& track : reader.movie().tracks) tracks.push_back(describe(*track));
    for (auto box = reader.boxAt(reader.firstFragment()); box; box = reader.boxAt(box->end())) {
      if (box->type != "afra"_4cc) continue;
      const Fragment fragment = reader.readFragment(box->offset);
      std::string line;
      for (const StoredTag& tag : reader.readTags(fragment))
        line += (line.empty() ? "" : " ") + describe(tag, fragment, reader.movie());
      fragments.push_back(line);
    }
  }

  /// "handler name language entry-code codec-header", in file order. A hint track has its versions and packet size in
  /// front of the codec header, and ends in the ids that it refers to.
  std::vector<std::string> tracks;
  /// A fragment each: its tags, separated by blanks. "type@time", "/timestamp" where that differs, a star where the
  /// index leads to it, and in brackets the media sample in it: handler, offset and size, with "!" for a sync sample of
  /// video and the composition time in milliseconds where it is not 0.
  std::vector<std::string> fragments;

 private:
  static std::string describe(const krvo::container::Track& track) {
    std::string text = qvs::util::toText(track.handler) + " '" + track.handlerName + "' " +
                       std::string(track.language.begin(), track.language.end());
    for (const auto& entry : track.descriptions) {
      text += " " + qvs::util::toText(entry->formatCode);
      if (const auto* hints = std::get_if<krvo::container::HintFormat>(&entry->format)) {
        for (const int number : {hints->hintTrackVersion, hints->highestCompatibleVersion, hints->maximumPacketSize})
          text += " " + std::to_string(number);
      }
      text += " " + hex(entry->codecHeader);
    }
    for (const std::uint32_t id : track.hintedTracks) text += " ->" + std::to_string(id);
    return text;
  }

  static std::string describe(const krvo::container::StoredTag& tag, const krvo::container::Fragment& fragment,
                              const krvo::container::Movie& movie) {
    std::string head, media;
    for (const auto& part : fragment.tracks) {
      const auto& track = *movie.tracks.at(part.trackId - 1);
      for (const auto& sample : part.samples) {
        if (sample.offset < tag.offset || sample.offset >= tag.end()) continue;
        if (track.isHint()) {
          head += std::to_string(tag.rawType) + "@" + std::to_string(sample.decodeTime) +
                  (tag.timestamp == sample.decodeTime ? "" : "/" + std::to_string(tag.timestamp));
          continue;
        }
        media += "[" + qvs::util::toText(track.handler) + " " + std::to_string(sample.offset - tag.offset) + "+" +
                 std::to_string(sample.size) + (sample.sync && track.isVideo() ? "!" : "") +
                 (sample.compositionOffset == 0 ? "" : " " + std::to_string(sample.compositionOffset) + "ms") + "]";
      }
    }
    const bool indexed = std::ranges::any_of(fragment.accessPoints, [&](const auto& point) {
      return fragment.boxes.position() + point.offset == tag.offset;
    });
    return head + (indexed ? "*" : "") + media;
  }
};

/// A recording's table of tracks.
class TrackTable final : public ruvo::k2rpkgutil::IMediaProperties {
 public:
  ruvo::k2rpkgutil::DocumentProperties getDocumentProperties() override { return document; }
  ruvo::k2rpkgutil::ITrackIterator* getTracks() override {
    return std::make_unique<ruvo::k2rpkgutil::K2RTrackIterator>(tracks).release();
  }

  ruvo::k2rpkgutil::DocumentProperties document;
  std::vector<std::shared_ptr<ruvo::k2rpkgutil::K2RTrack>> tracks;
};

/// What the stream object has around a writer: tracks made from first messages, a queue, a policy and a file.
class RecordingFixture : public testing::Test, public ruvo::k2rpkgutil::IPackagerContext {
 protected:
  using K2RMediaWriter = ruvo::k2rpkgutil::K2RMediaWriter;
  using Policy = ruvo::k2rpkgutil::IK2RMediaWriterPolicy;

  ruvo::k2rpkgutil::IMemoryArena& getArena() override { return arena; }

  /// The track that a stream's first message of this kind makes.
  ruvo::k2rpkgutil::K2RTrack& addTrack(std::uint8_t type, const char* firstData) {
    auto track = std::make_shared<ruvo::k2rpkgutil::K2RTrack>();
    track->sampleDescriptors.push_back(descriptorOf(type, firstData));
    const auto& info = *track->sampleDescriptors.front()->info;
    track->handlerType = info.handlerCode;
    track->entries = {1, 1000, info.codecHeaderLength};
    properties.tracks.push_back(track);
    return *track;
  }
  /// After the description of the track's own, that of another first message.
  void addSecondDescription(ruvo::k2rpkgutil::K2RTrack& track, std::uint8_t type, const char* firstData) {
    track.sampleDescriptors.push_back(descriptorOf(type, firstData));
  }
  ruvo::k2rpkgutil::K2RTrack& addAvcTrack() { return addTrack(9, "17 00 000000 0164001e ffe100"); }
  void addVp6Track() { addTrack(9, "14 00"); }
  ruvo::k2rpkgutil::K2RTrack& addAacTrack() { return addTrack(8, "af 00 1210"); }
  void addMp3Track() { addTrack(8, "2f"); }
  void addDataTrack() { addTrack(18, "02"); }

  ruvo::k2rpkgutil::NQMessage message(std::uint8_t type, const char* data, std::uint32_t time,
                                      std::uint32_t timestamp) {
    const auto bytes = fromHex(data);
    return {arena, time, type, timestamp, bytes.data(), static_cast<std::uint32_t>(bytes.size())};
  }
  void add(std::uint8_t type, std::uint32_t time, const char* data, std::uint32_t offset = 0) {
    queue.push_back(message(type, data, time, time + offset));
  }

  std::unique_ptr<K2RMediaWriter> newSegment(Policy* policyOfSegment = nullptr) {
    file = MemoryStream();
    return std::make_unique<K2RMediaWriter>(policyOfSegment == nullptr ? policy : *policyOfSegment, properties, file);
  }
  std::unique_ptr<K2RMediaWriter> continueSegment(std::uint64_t position) {
    return std::make_unique<K2RMediaWriter>(policy, file, position, warnings);
  }
  std::uint64_t write(K2RMediaWriter& writer, std::uint32_t limit = 0xFFFFFFFF) {
    const auto bootstrap = fromHex("0a0b0c0d0e");
    return writer.writeFragment(queue, limit, bootstrap).position;
  }
  /// The one fragment of a new segment that contains the queue.
  std::string writtenAlone() {
    write(*newSegment());
    return image().fragments.at(0);
  }
  SegmentImage image() const { return SegmentImage(file.bytes); }

  ruvo::k2rpkgutil::RefCountedMemoryArena arena;
  TrackTable properties;
  CarryOn warnings;
  MemoryStream file;
  std::vector<ruvo::k2rpkgutil::NQMessage> queue;
  ruvo::k2rpkgutil::K2RMediaWriterPolicy policy{*this};
};

}  // namespace test
