#include "packaging/mp4/K2MAdaptor/source/AACBitstream.h"
#include "packaging/mp4/K2MAdaptor/source/CBitstreamReader.h"
#include "tests/support/testing.h"

namespace {

using namespace ruvo::k2rpkgutil;

TEST(CBitstreamReader, ReadsAndMovesByBitsAndBytes) {
  using In = CBitstreamReader&;
  // A call, its result, and the position and the error after it.
  const std::tuple<const char*, std::function<std::int64_t(In)>, std::int64_t, std::int64_t, bool> steps[] = {
      {"the most significant bit is first", [](In in) { return in.readBit(); }, 1, 1, false},
      {"three", [](In in) { return in.readBits(3); }, 2, 4, false},
      {"as many as can be", [](In in) { return in.readBits(32); }, 0x50F80017, 36, false},
      {"ones behind the end", [](In in) { return in.readBits(8); }, 0xEF, 40, true},
      {"back with the error", [](In in) { return in.skipBits(-40); }, -40, 0, true},
      {"until it is cleared", [](In in) { return in.rewind(), in.readBits(4); }, 0xA, 4, false},
      {"a skip", [](In in) { return in.skipBits(8); }, 8, 12, false},
      {"a plain peek makes no error", [](In in) { return in.peek32(); }, 0xF80017EF, 12, false},
      {"a part of a byte", [](In in) { return in.rewind(), in.readBits(3); }, 5, 3, false},
      {"is forgotten by a skip of bytes", [](In in) { return in.skipBytes(1), 0; }, 0, 8, false},
      {"aligned from within", [](In in) { return in.readBit(), in.align(), 0; }, 0, 16, false},
      {"a skip beyond the end", [](In in) { return in.skipBits(25); }, 24, 40, true}};
  const auto bytes = test::fromHex("a5 0f 80 01 7e");
  CBitstreamReader bits;
  bits.attach(bytes.data(), static_cast<std::int32_t>(bytes.size()));
  for (const auto& [what, call, answer, bitsRead, error] : steps) {
    EXPECT_EQ(call(bits), answer) << what;
    EXPECT_EQ(std::pair(bits.bitsRead(), bits.error()), std::pair(bitsRead, error)) << what;
  }
}

/// The bytes of a text of bits, blanks ignored, filled up with zero bits.
std::vector<std::byte> fromBits(std::string_view text) {
  std::vector<std::byte> bytes;
  int filled = 8;
  for (const char c : text) {
    if (c == ' ') continue;
    if (filled == 8) {
      bytes.emplace_back();
      filled = 0;
    }
    if (c == '1') bytes.back() |= std::byte{1} << (7 - filled);
    ++filled;
  }
  return bytes;
}

AacConfig configOf(const std::vector<std::byte>& bytes) {
  AacConfig config;
  config.data = bytes.data();
  config.dataSize = static_cast<std::int32_t>(bytes.size());
  return config;
}

/// What a reading comes to: "verdict: objectType sampleRate channels", and, where the configuration says something of
/// an extension, "sbrPresent/extensionObjectType extensionSampleRate".
std::string read(const std::vector<std::byte>& bytes) {
  AacConfig config = configOf(bytes);
  const AacVerdict verdict = readAacConfig(config);
  EXPECT_EQ(config.parsed, verdict == AacVerdict::kRead ? 0xFF00 : 0);
  std::string text = verdict == AacVerdict::kRead          ? "read"
                     : verdict == AacVerdict::kUnsupported ? "unsupported"
                     : verdict == AacVerdict::kTruncated   ? "truncated"
                                                           : "no data";
  for (const std::int32_t field : {config.objectType, config.sampleRate, config.channelConfig})
    text += " " + std::to_string(field);
  if (config.sbrPresent != -1 || config.extensionObjectType != 0 || config.extensionSampleRate != config.sampleRate) {
    text += " " + std::to_string(config.sbrPresent) + "/" + std::to_string(config.extensionObjectType) + " " +
            std::to_string(config.extensionSampleRate);
  }
  return text;
}

TEST(AacConfig, IsReadAsFarAsItIsKnown) {
  const std::tuple<const char*, const char*, const char*> rows[] = {
      {"LC", "00010 0100 0010 000", "read 2 44100 2"},
      {"explicit rate", "00010 1111 000000001011101110000001 0001 000", "read 2 48001 1"},
      {"reserved rate index", "00010 1101 0001 000", "read 2 0 1"},
      {"explicit SBR", "00101 0111 0010 0100 00010 000", "read 2 22050 2 1/5 44100"},
      {"explicit SBR with PS", "11101 0111 0001 0100 00010 000", "read 2 22050 1 1/5 44100"},
      {"SBR over BSAC", "00101 0111 0010 0100 10110 0010 000 00", "read 22 22050 2 1/5 44100"},
      {"compatible SBR", "00010 0111 0010 000 01010110111 00101 1 0100", "read 2 22050 2 1/5 44100"},
      {"compatible SBR, absent", "00010 0111 0010 000 01010110111 00101 0", "read 2 22050 2 0/5 22050"},
      {"other sync word", "00010 0111 0010 000 01010110110 00101 1 0100", "read 2 22050 2"},
      {"other extension", "00010 0111 0010 000 01010110111 00010 1 0100", "read 2 22050 2 -1/2 22050"},
      {"too few bits for an extension", "00010 0111 0010 000 01010110", "read 2 22050 2"},
      {"core coder delay", "00010 0100 0010 0 1 11111111111111 0 01010110111 00101 1 0011", "read 2 44100 2 1/5 48000"},
      {"scalable, layer", "00110 0100 0010 000 111 01010110111 00101 1 0011", "read 6 44100 2 1/5 48000"},
      {"resilient LC", "10001 0100 0010 001 111 0 01 01010110111 00101 1 0011", "read 17 44100 2 1/5 48000"},
      {"escaped object type", "11111 000101 0100 0010", "read 37 44100 2"},
      {"ADTS header", "111111111111 0 00 1 01 0100 0 010 0000", "read 2 44100 2 -1/2 44100"},
      {"ADTS header of MPEG-2", "111111111111 1 00 1 00 0011 0 001 0000", "read 1 48000 1 -1/1 48000"},
      {"ADTS with a layer", "111111111111 0 10 1 01 0100 0 010 0000", "read 95 11025 10"},
      {"ADTS of the reserved profile", "111111111111 1 00 1 11 0100 0 010 0000", "read 95 7350 14"},
      {"ADTS cut short", "111111111111 0 00 1 01 0100 0 0", "read 95 16000 10"},
      {"CELP", "01000 0100 0010 000 00000000", "unsupported 8 44100 2"},
      {"SBR over CELP", "00101 0100 0010 0011 01000 00000000", "unsupported 8 44100 2 1/5 48000"},
      {"extension of an extension", "00010 0100 0010 001 1 0000", "unsupported 2 44100 2"},
      {"error protection", "10001 0100 0010 000 10 000000", "unsupported 17 44100 2"}};
  for (const auto& [why, bits, result] : rows) EXPECT_EQ(read(fromBits(bits)), result) << why;
}

TEST(AacConfig, CountsTheElementsOfAProgramConfigAndKeepsNothingOfACutField) {
  // Two front, one side, one back and one low-frequency element, each mixdown, a data and a coupling element, a comment
  // of one byte; then the extension, which is found only where all of it was passed over.
  constexpr std::size_t kWithoutExtension = 14;
  const auto whole = fromBits(
      "00010 0111 0000 000 0000 01 0111 0010 0001 0001 01 001 0001 1 1010 1 1010 1 101 "
      "0 0000 1 0001 1 0010 1 0011 0100 0101 0 0110 00 00000001 11111111 01010110111 00101 1 0100 00");
  EXPECT_EQ(read(whole), "read 2 22050 5 1/5 44100");
  for (std::size_t size = 1; size < kWithoutExtension; ++size) {
    EXPECT_EQ(read({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)}), size < 2 ? "truncated 2 0 0"
                                                                                        : size < 6
                                                                                            ? "truncated 2 22050 0"
                                                                                            : "truncated 2 22050 5")
        << size;
  }
}

TEST(AacConfig, StaysAsItIsWithoutData) {
  EXPECT_EQ(read({}), "no data 0 0 0 0/0 0");
  AacConfig config;
  config.dataSize = 5;
  EXPECT_EQ(readAacConfig(config), AacVerdict::kNoData) << "no bytes, whatever their number";
}

}  // namespace
