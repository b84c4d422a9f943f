#include "packaging/MetadataMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "tests/packaging/recordingFixture.h"
#include "tests/support/ScriptCodec.h"
#include "util/fourcc.h"
#include "wrappers/k2m/Exception.h"

namespace {

using namespace ruvo::k2rpkgutil;
using namespace qvs::util;
using test::fromHex;
using test::hex;

class MetadataMessage : public test::RecordingFixture {
 protected:
  ByteBuffer message(bool hasSmpte = false) { return buildMetadataMessage(properties, hasSmpte, 0.0); }
  /// What the message says: "name=value" for each member, those of an array in parentheses.
  std::string members(bool hasSmpte = false) {
    return describe(test::readScript(message(hasSmpte).bytes()).at(1).array());
  }
  static std::string describe(const NQDataArray* array) {
    std::ostringstream text;
    for (std::size_t i = 0; i < array->size(); ++i) {
      const NQDataValue& value = array->value(i);
      text << (i == 0 ? "" : " ") << array->name(i).view() << "=";
      if (value.array() != nullptr) {
        text << "(" << describe(value.array()) << ")";
      } else if (value.kind() == NQDataKind::kStringType) {
        text << value.toString().view();
      } else {
        text << value.toDouble();
      }
    }
    return text.str();
  }
};

TEST_F(MetadataMessage, IsWrittenByteForByte) {
  addAvcTrack();
  addAacTrack();
  EXPECT_EQ(hex(message().bytes()), hex(fromHex("02 000a 6f6e4d65746144617461 08 00000000"
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

TEST_F(MetadataMessage, SaysWhatTheTracksAre) {
  const std::string track = " trackinfo=(0=(length=0 timescale=1000 language=eng)) custdef=()";
  const struct {
    std::uint8_t type;
    const char* firstData;
    std::string members;
  } rows[] = {{8, "2f", "duration=0 audiocodecid=.mp3 audiosamplerate=44000 audiochannels=2" + track},
              {9, "14 00", "duration=0 width=640 height=360 videocodecid=VP6F videoframerate=-nan" + track},
              {18, "02", "duration=0" + track}};
  for (const auto& row : rows) {
    properties.tracks.clear();
    addTrack(row.type, row.firstData);
    EXPECT_EQ(members(), row.members);
  }
  properties.tracks.back()->handlerType = "hint"_4cc;
  EXPECT_EQ(members(), "duration=0 trackinfo=() custdef=()");
}

TEST_F(MetadataMessage, HasTheTimeCodeWhereItIsKnown) {
  properties.document.duration = 2500;
  EXPECT_EQ(members(true), "duration=2.5 trackinfo=() smpteTimeInfo=(smpteOffset=0) custdef=()");
}

TEST_F(MetadataMessage, WritesCustomDefinitionsAndEmptyLanguages) {
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

TEST_F(MetadataMessage, ReadsTheProfileFromWholeBoxesOnly) {
  const struct {
    const char* why;
    FourCC format;
    const char* codecHeader;
    const char* profile;
  } rows[] = {{"behind another box", "avc1"_4cc, "00000008 66726565 0000000f 61766343 01 4d 00 1f ff e0 00",
               "avcprofile=77 avclevel=31 "},
              {"the type at the end", "avc1"_4cc, "0000000c 61766343", "avcprofile=0 avclevel=0 "},
              {"no size in front", "avc1"_4cc, "61766343 01 64 00 1e", "avcprofile=0 avclevel=0 "},
              {"a record cut short", "avc1"_4cc, "0000000a 61766343 01 64", "avcprofile=0 avclevel=0 "},
              {"no box", "avc1"_4cc, "01 64 00 1e ff", "avcprofile=0 avclevel=0 "},
              {"another codec of that kind", "mp4v"_4cc, "", "avcprofile=0 avclevel=0 "}};
  addAvcTrack();
  K2RSampleDescriptor& descriptor = *properties.tracks.back()->sampleDescriptors.front();
  for (const auto& row : rows) {
    descriptor.info->formatCode = row.format;
    descriptor.codecHeader = ByteBuffer(fromHex(row.codecHeader));
    EXPECT_NE(members().find(row.profile), std::string::npos) << row.why;
  }
  descriptor.codecHeader = ByteBuffer(fromHex("00000010 61766343 01 64 00 1e ff e0 00"));
  EXPECT_THAT([this] { message(); },
              testing::Throws<krvo::k2m::Exception>(testing::Property(&krvo::k2m::Exception::status, 42U)))
      << "a box beyond its bytes";
}

}  // namespace
