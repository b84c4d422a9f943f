#include "packaging/MetadataMessage.h"

#include <gtest/gtest.h>

#include <sstream>

#include "packaging/K2RTrackIterator.h"
#include "tests/support/hex.h"
#include "util/fourcc.h"
#include "wrappers/k2m/Exception.h"

namespace ruvo::k2rpkgutil {
namespace {

using namespace qvs::util;
using test::fromHex;
using test::hex;

class Properties : public IMediaProperties {
 public:
  DocumentProperties getDocumentProperties() override { return document; }
  ITrackIterator* getTracks() override { return std::make_unique<K2RTrackIterator>(tracks).release(); }

  DocumentProperties document;
  std::vector<std::shared_ptr<K2RTrack>> tracks;
};

template <typename Info>
std::shared_ptr<K2RTrack> makeTrack(FourCC handlerType, const Info& info, const char* codecHeader = "") {
  auto descriptor = std::make_shared<K2RSampleDescriptor>();
  descriptor->info = std::make_shared<Info>(info);
  descriptor->codecHeader = ByteBuffer(fromHex(codecHeader));
  auto track = std::make_shared<K2RTrack>();
  track->handlerType = handlerType;
  track->sampleDescriptors.push_back(descriptor);
  return track;
}

std::shared_ptr<K2RTrack> videoTrack(FourCC format, const char* codecHeader = "") {
  VideoSampleDescInfo info;
  info.formatCode = format;
  info.width = 640;
  info.height = 360;
  return makeTrack("vide"_4cc, info, codecHeader);
}

std::shared_ptr<K2RTrack> audioTrack(FourCC format) {
  AudioSampleDescInfo info;
  info.formatCode = format;
  info.sampleRate = 44100;
  info.channels = 2;
  return makeTrack("soun"_4cc, info);
}

std::string text(const ByteBuffer& message) {
  return {reinterpret_cast<const char*>(message.data()), static_cast<std::size_t>(message.size())};
}

/// A name and a number as they stand in the message.
std::string number(const std::string& name, const char* value) {
  std::string image{static_cast<char>(name.size() >> 8), static_cast<char>(name.size())};
  image += name + '\0';
  for (const std::byte byte : fromHex(value)) image += static_cast<char>(byte);
  return image;
}

TEST(MetadataMessage, IsWrittenByteForByte) {
  Properties properties;
  properties.tracks = {videoTrack("H264"_4cc, "0000000f 61766343 01 64 00 1e ff e0 00"), audioTrack("mp4a"_4cc)};
  EXPECT_EQ(hex(text(buildMetadataMessage(properties, false, 0.0))),
            hex(fromHex("02 000a 6f6e4d65746144617461 08 00000000"
                        "0008 6475726174696f6e 00 0000000000000000"
                        "0005 7769647468 00 4084000000000000"
                        "0006 686569676874 00 4076800000000000"
                        "000c 766964656f636f6465636964 02 0004 48323634"
                        "000c 617564696f636f6465636964 02 0004 6d703461"
                        "000a 61766370726f66696c65 00 4059000000000000"
                        "0008 6176636c6576656c 00 403e000000000000"
                        "0006 616163616f74 00 0000000000000000"
                        "000e 766964656f6672616d6572617465 00 fff8000000000000"
                        "000f 617564696f73616d706c6572617465 00 40e5888000000000"
                        "000d 617564696f6368616e6e656c73 00 4000000000000000"
                        "0009 747261636b696e666f 0a 00000002"
                        "03 0006 6c656e677468 00 0000000000000000"
                        "0009 74696d657363616c65 00 408f400000000000"
                        "0008 6c616e6775616765 02 0003 656e67 000009"
                        "03 0006 6c656e677468 00 0000000000000000"
                        "0009 74696d657363616c65 00 408f400000000000"
                        "0008 6c616e6775616765 02 0003 656e67 000009"
                        "0007 63757374646566 0a 00000000"
                        "000009")));
}

TEST(MetadataMessage, SaysWhatTheTracksAre) {
  const auto data = [] {
    SampleDescInfo info;
    info.formatCode = "amf0"_4cc;
    return makeTrack("meta"_4cc, info);
  };
  auto hint = videoTrack("rtmp"_4cc);
  hint->sampleDescriptors.front()->info = std::make_shared<SampleDescInfo>();
  hint->handlerType = "hint"_4cc;
  const struct {
    const char* why;
    std::vector<std::shared_ptr<K2RTrack>> tracks;
    std::vector<std::string> present;
    std::vector<std::string> absent;
  } rows[] = {
      {"audio alone", {audioTrack(".mp3"_4cc)}, {".mp3", "audiochannels"}, {"width", "videocodecid", "avc", "aacaot"}},
      {"VP6", {videoTrack("VP6F"_4cc)}, {"VP6F", "width"}, {"avcprofile", "avclevel"}},
      {"mp4v without a configuration",
       {videoTrack("mp4v"_4cc)},
       {number("avcprofile", "0000000000000000"), number("avclevel", "0000000000000000")},
       {}},
      {"data and hint tracks",
       {data(), hint},
       {std::string("trackinfo\x0a\0\0\0\x01", 14)},
       {"videocodecid", "audiocodecid"}}};
  for (const auto& row : rows) {
    Properties properties;
    properties.tracks = row.tracks;
    const std::string message = text(buildMetadataMessage(properties, false, 0.0));
    for (const auto& part : row.present) EXPECT_NE(message.find(part), std::string::npos) << row.why << ": " << part;
    for (const auto& part : row.absent) EXPECT_EQ(message.find(part), std::string::npos) << row.why << ": " << part;
  }
}

TEST(MetadataMessage, HasTheTimeCodeWhereItIsKnown) {
  Properties properties;
  properties.document.duration = 2500;
  const std::string message = text(buildMetadataMessage(properties, true, 0.0));
  EXPECT_NE(message.find(number("duration", "4004000000000000")), std::string::npos);
  EXPECT_NE(message.find("smpteTimeInfo\x03" + number("smpteOffset", "0000000000000000") + std::string("\0\0\x09", 3)),
            std::string::npos);
}

TEST(MetadataMessage, WritesCustomDefinitionsAndEmptyLanguages) {
  MetadataSummary summary;
  summary.tracks.push_back(std::make_shared<ruvo::k2r::MetaDataTrackInfo>("amf0"_4cc, 0, 1000, ""));
  summary.customDefinitions = {{"site", "north"}};
  std::ostringstream out;
  writeMetadataMessage(out, summary);
  EXPECT_EQ(out.str().find("language"), std::string::npos);
  EXPECT_NE(out.str().find(std::string("custdef\x0a\0\0\0\x01\0\x04site\x02\0\x05north\0\0\x09", 29)),
            std::string::npos);
  EXPECT_EQ(out.exceptions(), std::ios_base::goodbit) << "the mask is the caller's again";
}

TEST(MetadataMessage, ReadsTheProfileFromWholeBoxesOnly) {
  const struct {
    const char* why;
    const char* codecHeader;
    const char* profile;
  } rows[] = {{"behind another box", "00000008 66726565 0000000f 61766343 01 4d 00 1f ff e0 00", "4053400000000000"},
              {"the type at the end", "0000000c 61766343", "0000000000000000"},
              {"no size in front", "61766343 01 64 00 1e", "0000000000000000"},
              {"a record cut short", "0000000a 61766343 01 64", "0000000000000000"},
              {"no box", "01 64 00 1e ff", "0000000000000000"}};
  for (const auto& row : rows) {
    Properties properties;
    properties.tracks = {videoTrack("avc1"_4cc, row.codecHeader)};
    const std::string message = text(buildMetadataMessage(properties, false, 0.0));
    EXPECT_NE(message.find(number("avcprofile", row.profile)), std::string::npos) << row.why;
  }
}

TEST(MetadataMessage, RefusesABoxBeyondItsBytes) {
  Properties properties;
  properties.tracks = {videoTrack("H264"_4cc, "00000010 61766343 01 64 00 1e ff e0 00")};
  try {
    buildMetadataMessage(properties, false, 0.0);
    FAIL() << "no exception";
  } catch (const krvo::k2m::Exception& failure) {
    EXPECT_EQ(failure.status(), 42U);
  }
}

}  // namespace
}  // namespace ruvo::k2rpkgutil
