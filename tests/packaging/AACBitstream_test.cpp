#include "packaging/mp4/K2MAdaptor/source/AACBitstream.h"

#include <gtest/gtest.h>

#include "tests/packaging/bits.h"

namespace {

using namespace ruvo::k2rpkgutil;
using test::fromBits;

struct Outcome {
  AacVerdict verdict = AacVerdict::kRead;
  AacConfig config;
};

Outcome read(const std::vector<std::byte>& bytes) {
  Outcome outcome;
  outcome.config.data = bytes.data();
  outcome.config.dataSize = static_cast<std::int32_t>(bytes.size());
  outcome.verdict = readAacConfig(outcome.config);
  return outcome;
}

TEST(AacConfig, ReadsWhatTheConfigurationSays) {
  const struct {
    const char* why;
    const char* bits;
    std::int32_t objectType;
    std::int32_t sampleRate;
    std::int32_t channels;
    std::int32_t sbrPresent;
    std::int32_t extensionObjectType;
    std::int32_t extensionSampleRate;
  } rows[] = {
      {"LC", "00010 0100 0010 000", 2, 44100, 2, -1, 0, 44100},
      {"explicit rate", "00010 1111 000000001011101110000001 0001 000", 2, 48001, 1, -1, 0, 48001},
      {"reserved rate index", "00010 1101 0001 000", 2, 0, 1, -1, 0, 0},
      {"last rate index", "00010 1100 0001 000", 2, 7350, 1, -1, 0, 7350},
      {"explicit SBR", "00101 0111 0010 0100 00010 000", 2, 22050, 2, 1, 5, 44100},
      {"explicit SBR with PS", "11101 0111 0001 0100 00010 000", 2, 22050, 1, 1, 5, 44100},
      {"explicit SBR, rate in full", "00101 0111 0010 1111 000000001010110001000100 00010 000", 2, 22050, 2, 1, 5,
       44100},
      {"SBR over BSAC", "00101 0111 0010 0100 10110 0010 000 00", 22, 22050, 2, 1, 5, 44100},
      {"compatible SBR", "00010 0111 0010 000 01010110111 00101 1 0100", 2, 22050, 2, 1, 5, 44100},
      {"compatible SBR, absent", "00010 0111 0010 000 01010110111 00101 0", 2, 22050, 2, 0, 5, 22050},
      {"compatible BSAC", "00010 0111 0010 000 01010110111 10110 1 0100", 2, 22050, 2, 1, 22, 44100},
      {"other sync word", "00010 0111 0010 000 01010110110 00101 1 0100", 2, 22050, 2, -1, 0, 22050},
      {"other extension", "00010 0111 0010 000 01010110111 00010 1 0100", 2, 22050, 2, -1, 2, 22050},
      {"too few bits for an extension", "00010 0111 0010 000 01010110", 2, 22050, 2, -1, 0, 22050},
      {"core coder delay", "00010 0100 0010 0 1 11111111111111 0 01010110111 00101 1 0011", 2, 44100, 2, 1, 5, 48000},
      {"scalable, layer", "00110 0100 0010 000 111 01010110111 00101 1 0011", 6, 44100, 2, 1, 5, 48000},
      {"resilient LC", "10001 0100 0010 001 111 0 01 01010110111 00101 1 0011", 17, 44100, 2, 1, 5, 48000},
      {"escaped object type", "11111 000101 0100 0010", 37, 44100, 2, -1, 0, 44100},
      {"ADTS header", "111111111111 0 00 1 01 0100 0 010 0000", 2, 44100, 2, -1, 2, 44100},
      {"ADTS header of MPEG-2", "111111111111 1 00 1 00 0011 0 001 0000", 1, 48000, 1, -1, 1, 48000},
      {"ADTS with a layer", "111111111111 0 10 1 01 0100 0 010 0000", 95, 11025, 10, -1, 0, 11025},
      {"ADTS of the reserved profile", "111111111111 1 00 1 11 0100 0 010 0000", 95, 7350, 14, -1, 0, 7350},
      {"ADTS of a reserved rate", "111111111111 0 00 1 01 1100 0 010 0000", 95, 16000, 11, -1, 0, 16000},
      {"ADTS cut short", "111111111111 0 00 1 01 0100 0 0", 95, 16000, 10, -1, 0, 16000},
  };
  for (const auto& row : rows) {
    const auto bytes = fromBits(row.bits);
    const Outcome outcome = read(bytes);
    EXPECT_EQ(outcome.verdict, AacVerdict::kRead) << row.why;
    EXPECT_EQ(outcome.config.parsed, 0xFF00) << row.why;
    EXPECT_EQ(outcome.config.objectType, row.objectType) << row.why;
    EXPECT_EQ(outcome.config.sampleRate, row.sampleRate) << row.why;
    EXPECT_EQ(outcome.config.channelConfig, row.channels) << row.why;
    EXPECT_EQ(outcome.config.sbrPresent, row.sbrPresent) << row.why;
    EXPECT_EQ(outcome.config.extensionObjectType, row.extensionObjectType) << row.why;
    EXPECT_EQ(outcome.config.extensionSampleRate, row.extensionSampleRate) << row.why;
  }
}

TEST(AacConfig, KeepsTheFieldsOfBsac) {
  const auto bytes = fromBits("10110 0100 0010 1 0 1 10101 00000000111 0 00");
  const AacConfig config = read(bytes).config;
  EXPECT_EQ(config.parsed, 0xFF00);
  EXPECT_EQ(config.frameLengthFlag, 1);
  EXPECT_EQ(config.numSubFrames, 21);
  EXPECT_EQ(config.layerLength, 7);
}

// Two front, one side, one back and one low-frequency element, each mixdown, a data and a coupling element, a comment
// of one byte; then the extension, which is found only where all of it was passed over.
constexpr char kProgramConfig[] =
    "00010 0111 0000 000 0000 01 0111 0010 0001 0001 01 001 0001 1 1010 1 1010 1 101 "
    "0 0000 1 0001 1 0010 1 0011 0100 0101 0 0110 00 00000001 11111111 01010110111 00101 1 0100 00";

TEST(AacConfig, CountsTheElementsOfAProgramConfig) {
  const auto bytes = fromBits(kProgramConfig);
  const AacConfig config = read(bytes).config;
  EXPECT_EQ(config.parsed, 0xFF00);
  EXPECT_EQ(config.channelConfig, 5);
  EXPECT_EQ(config.extensionSampleRate, 44100);
}

TEST(AacConfig, RefusesWhatItDoesNotRead) {
  const struct {
    const char* why;
    const char* bits;
    std::int32_t objectType;
  } rows[] = {{"CELP", "01000 0100 0010 000 00000000", 8},
              {"HVXC", "01001 0100 0010 000 00000000", 9},
              {"TTSI", "01100 0100 0010 000 00000000", 12},
              {"wavetable", "10000 0100 0010 000 00000000", 16},
              {"resilient CELP", "11000 0100 0010 000 00000000", 24},
              {"parametric", "11100 0100 0010 000 00000000", 28},
              {"SBR over CELP", "00101 0100 0010 0011 01000 00000000", 8},
              {"extension of an extension", "00010 0100 0010 001 1 0000", 2},
              {"error protection", "10001 0100 0010 000 10 000000", 17}};
  for (const auto& row : rows) {
    const auto bytes = fromBits(row.bits);
    const Outcome outcome = read(bytes);
    EXPECT_EQ(outcome.verdict, AacVerdict::kUnsupported) << row.why;
    EXPECT_EQ(outcome.config.parsed, 0) << row.why;
    EXPECT_EQ(outcome.config.objectType, row.objectType) << row.why;
    EXPECT_EQ(outcome.config.sampleRate, 44100) << row.why;
    EXPECT_EQ(outcome.config.channelConfig, 2) << row.why;
  }
}

TEST(AacConfig, KeepsNothingOfAFieldThatIsCutShort) {
  constexpr std::size_t kWithoutExtension = 14;
  const auto whole = fromBits(kProgramConfig);
  for (std::size_t size = 1; size < kWithoutExtension; ++size) {
    const std::vector<std::byte> bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    const Outcome outcome = read(bytes);
    EXPECT_EQ(outcome.verdict, AacVerdict::kTruncated) << size;
    EXPECT_EQ(outcome.config.parsed, 0) << size;
    EXPECT_EQ(outcome.config.objectType, 2) << size;
    EXPECT_EQ(outcome.config.sampleRate, size < 2 ? 0 : 22050) << size;
    EXPECT_EQ(outcome.config.channelConfig, size < 6 ? 0 : 5) << size;
  }
}

TEST(AacConfig, StaysAsItIsWithoutData) {
  const std::byte byte{0x12};
  const struct {
    const std::byte* data;
    std::int32_t size;
  } rows[] = {{&byte, 0}, {&byte, -1}, {nullptr, 5}};
  for (const auto& row : rows) {
    AacConfig config;
    config.data = row.data;
    config.dataSize = row.size;
    EXPECT_EQ(readAacConfig(config), AacVerdict::kNoData);
    EXPECT_EQ(config.parsed, 0);
    EXPECT_EQ(config.sbrPresent, 0);
  }
}

}  // namespace
