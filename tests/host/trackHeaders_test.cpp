#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>

#include "host/input/PlainTrack.h"
#include "host/input/onMetaData.h"
#include "tests/support/hex.h"

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

TEST(PlainTrack, AudioByteTellsFormatRateAndChannels) {
  const struct {
    AVCodecID codec;
    int rate, channels, byte;  // -1: cannot be carried
  } rows[] = {{AV_CODEC_ID_MP3, 44100, 2, 0x2F},        {AV_CODEC_ID_MP3, 24000, 1, 0x2A},
              {AV_CODEC_ID_MP3, 8000, 1, 0x26},         {AV_CODEC_ID_NELLYMOSER, 8000, 1, 0x52},
              {AV_CODEC_ID_NELLYMOSER, 16000, 1, 0x42}, {AV_CODEC_ID_NELLYMOSER, 5512, 1, 0x62},
              {AV_CODEC_ID_NELLYMOSER, 11025, 1, 0x66}, {AV_CODEC_ID_NELLYMOSER, 22050, 2, 0x6B},
              {AV_CODEC_ID_NELLYMOSER, 44100, 1, 0x6E}, {AV_CODEC_ID_SPEEX, 16000, 1, 0xB2},
              {AV_CODEC_ID_SPEEX, 8000, 1, -1},         {AV_CODEC_ID_SPEEX, 16000, 2, -1},
              {AV_CODEC_ID_OPUS, 48000, 2, -1},         {AV_CODEC_ID_PCM_S16LE, 44100, 2, -1}};
  for (const auto& row : rows) {
    const auto header = plainHeader(*audio(row.codec, row.rate, row.channels));
    EXPECT_EQ(header ? header->codecByte : -1, row.byte) << avcodec_get_name(row.codec) << ' ' << row.rate;
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
  EXPECT_EQ(test::hex(makeOnMetaData(*context, {.video = 0, .audio = 1})),
            test::hex(test::fromHex("02 000a 6f6e4d65746144617461 08 00000000"
                                    "0008 6475726174696f6e         00 3fe0000000000000"
                                    "0005 7769647468               00 4000000000000000"
                                    "000c 766964656f636f6465636964 00 401c000000000000"
                                    "000c 617564696f636f6465636964 00 4024000000000000"
                                    "000f 617564696f73616d706c6572617465 00 3ff0000000000000"
                                    "0000 09")));
}

}  // namespace
}  // namespace host
