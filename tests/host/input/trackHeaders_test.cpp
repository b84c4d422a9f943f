// What is written in front of the frames of a media file, and what becomes of these.

#include <gtest/gtest.h>

#include "host/input/PlainTrack.h"
#include "host/input/annexB.h"
#include "host/input/avcFrame.h"
#include "host/input/onMetaData.h"
#include "tests/support/Amf0.h"

namespace host {
namespace {

struct FreeParameters {
  void operator()(AVCodecParameters* parameters) const { avcodec_parameters_free(&parameters); }
};
using Parameters = std::unique_ptr<AVCodecParameters, FreeParameters>;

Parameters audio(AVCodecID codec, int rate, int channels) {
  Parameters parameters(avcodec_parameters_alloc());
  parameters->codec_id = codec;
  parameters->sample_rate = rate;
  parameters->ch_layout.nb_channels = channels;
  return parameters;
}

TEST(PlainTrack, AudioByteHasFormatRateAndChannels) {
  // The last number is the byte; -1 cannot be carried.
  const std::tuple<AVCodecID, int, int, int> rows[] = {
      {AV_CODEC_ID_MP3, 44100, 2, 0x2F},        {AV_CODEC_ID_MP3, 8000, 1, 0x26},
      {AV_CODEC_ID_NELLYMOSER, 8000, 1, 0x52},  {AV_CODEC_ID_NELLYMOSER, 16000, 1, 0x42},
      {AV_CODEC_ID_NELLYMOSER, 11025, 1, 0x66}, {AV_CODEC_ID_NELLYMOSER, 22050, 2, 0x6B},
      {AV_CODEC_ID_SPEEX, 16000, 1, 0xB2},      {AV_CODEC_ID_SPEEX, 8000, 1, -1},
      {AV_CODEC_ID_SPEEX, 16000, 2, -1},        {AV_CODEC_ID_OPUS, 48000, 2, -1}};
  for (const auto& [codec, rate, channels, byte] : rows) {
    const auto header = plainHeader(*audio(codec, rate, channels));
    EXPECT_EQ(header ? header->codecByte : -1, byte) << avcodec_get_name(codec) << ' ' << rate;
  }
}

TEST(PlainTrack, Vp6HasAnAdjustmentByte) {
  const Parameters parameters(avcodec_parameters_alloc());
  parameters->codec_id = AV_CODEC_ID_VP6F;
  parameters->width = 318;
  parameters->height = 241;
  const PlainTrack track(*plainHeader(*parameters));
  const Packet packet = makePacket();
  ASSERT_EQ(av_new_packet(packet.get(), 2), 0);
  packet->data[0] = 0xAA;
  packet->data[1] = 0xBB;
  qvs::util::ByteWriter out;
  track.writeFrame(out, *packet, 0);
  packet->flags |= AV_PKT_FLAG_KEY;
  track.writeFrame(out, *packet, 0);
  EXPECT_EQ(test::hex(out.bytes()), "242faabb 142faabb");
}

TEST(OnMetaData, IsANameAndAnArrayOfWhatIsKnown) {
  const std::unique_ptr<AVFormatContext, decltype(&avformat_free_context)> context(avformat_alloc_context(),
                                                                                   avformat_free_context);
  AVStream* const video = avformat_new_stream(context.get(), nullptr);
  video->codecpar->codec_id = AV_CODEC_ID_H264;
  video->codecpar->width = 2;
  AVStream* const sound = avformat_new_stream(context.get(), nullptr);
  sound->codecpar->codec_id = AV_CODEC_ID_AAC;
  sound->codecpar->sample_rate = 1;
  context->duration = AV_TIME_BASE / 2;
  test::Amf0 expected;
  expected.string("onMetaData").array().name("duration").number(0.5).name("width").number(2);
  expected.name("videocodecid").number(7).name("audiocodecid").number(10).name("audiosamplerate").number(1).end();
  EXPECT_EQ(test::hex(makeOnMetaData(*context, {.video = 0, .audio = 1})), test::hex(expected.bytes()));
}

std::string lengthPrefixed(const char* image) {
  const auto stream = test::fromHex(image);
  qvs::util::ByteWriter out;
  writeLengthPrefixed(out, stream);
  return test::hex(out.bytes());
}

TEST(AnnexB, IsRewrittenWithLengths) {
  const std::tuple<const char*, const char*, const char*> rows[] = {
      {"long and short start codes", "00000001 0910 000001 6588", "00000002 09100000 00026588"},
      {"zeros after a unit", "000001 6588 0000 00000001 41", "00000002 65880000 000141"},
      {"bytes ahead of the first start code", "ff 00 000001 65", "00000001 65"},
      {"a start code at the end", "000001 65 000001", "00000001 65"},
      {"units without a byte", "000001 000001 0000000001 65", "00000001 65"},
      {"no start code", "0000 65 88 01", ""},
      {"nothing", "", ""}};
  for (const auto& [why, stream, result] : rows) EXPECT_EQ(lengthPrefixed(stream), result) << why;
}

std::string configuration(const std::string& image) {
  const auto stream = test::fromHex(image);
  ParameterSets sets;
  sets.collect(splitAnnexB(stream));
  return sets.complete() ? test::hex(sets.configurationRecord()) : "(incomplete)";
}

TEST(ParameterSets, MakeAConfigurationRecord) {
  const std::tuple<const char*, const char*, const char*> rows[] = {
      {"baseline, 4 bytes and no more", "000001 6742c01eda 000001 68ce3c80 000001 6588",
       "0142c01e ffe10005 6742c01e da010004 68ce3c80"},
      {"two picture sets", "000001 6742c01eda 000001 68ce3c 000001 684e3d",
       "0142c01e ffe10005 6742c01e da020003 68ce3c00 03684e3d"},
      // set 0, chroma format 1, 8 bits: codes 1, 010, 1, 1
      {"high profile", "000001 6764001eac 000001 68ce3c", "0164001e ffe10005 6764001e ac010003 68ce3cfd f8f800"},
      // set 0, chroma format 2, 10 bits: codes 1, 011, 011, 011
      {"high 4:2:2", "000001 677a0028b6c0 000001 68ce3c", "017a0028 ffe10006 677a0028 b6c00100 0368ce3c fefafa00"},
      // set 0, chroma format 3, colours separate, 8 bits: codes 1, 00100, 1, 1, 1
      {"high 4:4:4", "000001 67f4001e93c0 000001 68ce3c", "01f4001e ffe10006 67f4001e 93c00100 0368ce3c fff8f800"},
      {"a later set of the same number", "000001 6742c01eda 000001 68ce3c 000001 6742c01fda 000001 68ce3d",
       "0142c01f ffe10005 6742c01f da010003 68ce3d"},
      {"high profile that breaks off", "000001 6764001e80 000001 68ce3c",
       "0164001e ffe10005 6764001e 80010003 68ce3cfd f8f800"},
      {"a sequence set too short for its number", "000001 6742c01e 000001 68ce3c", "(incomplete)"},
      // set 31 of 31: the code 00000100000
      {"numbers beyond the counts", "000001 6742c01e 0400 80 000001 68ce3c", "(incomplete)"}};
  for (const auto& [why, stream, result] : rows) EXPECT_EQ(configuration(stream), result) << why;
}

TEST(AvcFrame, AKeyPictureIsAnIdrPictureOrOneAfterARecoveryPoint) {
  const std::tuple<const char*, const char*, std::optional<bool>> rows[] = {
      {"IDR", "00000002 6588", true},
      {"recovery point after a delimiter", "00000002 0910 00000005 060601c480 00000002 4188", true},
      {"only other information", "00000006 060502aabb80 00000002 4188", false},
      {"other information of 5 bytes, one of them escaped, first",
       "0000000d 060505000003 0055 55 0601c480 00000002 4188", true},
      {"a recovery point that breaks off", "00000004 060602c4 00000002 4188", false},
      {"a recovery point for the next picture", "00000002 4188 00000005 060601c480", false},
      {"no picture", "00000005 060601c480", std::nullopt},
      {"a length of 0", "00000000 00000002 6588", std::nullopt},
      {"a length beyond the frame", "00000003 6588", std::nullopt},
      {"nothing", "", std::nullopt}};
  for (const auto& [why, image, expected] : rows) EXPECT_EQ(isKeyPicture(test::fromHex(image), 4), expected) << why;
  EXPECT_EQ(isKeyPicture(test::fromHex("0002 6588"), 2), true);
}

}  // namespace
}  // namespace host
