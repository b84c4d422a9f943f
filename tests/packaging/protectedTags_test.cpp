// Protected tags, byte for byte.

#include <gtest/gtest.h>

#include "tests/packaging/protectedFixture.h"
#include "util/QVSException.h"
#include "wrappers/rkx/RKXException.h"

namespace {

using namespace test;
using namespace ruvo::k2rpkgutil;

using ProtectedTags = ProtectedFixture;

std::string imageOf(const NQMessage& message) {
  return hex(std::span(message.header(), message.totalSize()));
}

TEST_F(ProtectedTags, ReplaceTheSampleByParametersAndCipherText) {
  const struct {
    const char* what;
    std::uint8_t type;
    const char* data;
    // The tag: type and size, the bytes that stay clear, and the cipher text without its filling.
    const char* head;
    const char* clear;
    const char* cipher;
  } rows[] = {{"AVC", 9, "17 01 0000c8 aabbcc", "29 00002c", "17 01 0000c8", "554433"},
              {"VP6, one byte of its header goes into the sample", 9, "14 31 aabb", "29 000028", "14", "ce5544"},
              {"VP6 with alpha", 9, "25 31 aabb", "29 000028", "25", "ce5544"},
              {"VP6 without a header", 9, "14", "29 000027", "", "eb"},
              {"H.263", 9, "22 aa", "29 000028", "22", "55"},
              {"AAC", 8, "af 01 aa", "28 000029", "af 01", "55"},
              {"MP3", 8, "2f aa", "28 000028", "2f", "55"},
              {"audio without codec header bytes", 8, "e0 aa", "28 000027", "", "1f55"},
              {"script data", 18, "02 aa", "32 000027", "", "fd55"},
              {"script data of the other format", 15, "02 aa", "2f 000027", "", "fd55"},
              {"whole blocks get one more", 8, "2f 000102030405060708090a0b0c0d0e0f", "28 000038", "2f",
               "fffefdfc fbfaf9f8 f7f6f5f4 f3f2f1f0"},
              {"the filter bit is set already", 0x28, "2f aa", "28 000028", "2f", "55"}};
  for (const auto& row : rows) {
    library.samples = 0;
    const NQMessage result = protectedPolicy.encryptMessage(message(row.type, row.data));
    const auto clear = fromHex(row.clear);
    auto cipher = fromHex(row.cipher);
    const std::size_t filling = 16 - cipher.size() % 16;
    cipher.insert(cipher.end(), filling, static_cast<std::byte>(filling));
    const auto backPointer = static_cast<std::byte>(11 + clear.size() + 6 + 17 + cipher.size());
    EXPECT_EQ(imageOf(result), hex(fromHex(std::string(row.head) + "020304 01 000000" + row.clear +
                                           "01 4600 000011 80 01010101 01010101 01010101 01010101" + hex(cipher) +
                                           "000000" + hex({&backPointer, 1}))))
        << row.what;
    EXPECT_EQ(result.time(), 0x40U);
    EXPECT_EQ(result.sampleOffset(), 11 + clear.size() + 6) << row.what;
    EXPECT_EQ(result.sampleSize(), 17 + cipher.size()) << row.what;
  }
}

TEST_F(ProtectedTags, CarryAClearSampleInTheSameForm) {
  library.encryptedKinds = 0;
  library.filterName = "Name";
  EXPECT_EQ(imageOf(protectedPolicy.encryptMessage(message(9, "17 01 000000 aabb"))),
            hex(fromHex("29 000011 020304 01 000000 17 01 000000 01 4e616d6500 000001 00 aabb 0000001c")));
  EXPECT_EQ(imageOf(protectedPolicy.encryptMessage(message(18, "02"))),
            hex(fromHex("32 00000b 020304 01 000000 01 4e616d6500 000001 00 02 00000016")));
}

TEST_F(ProtectedTags, AskTheLibraryAboutEachSample) {
  const auto asked = [this](std::uint8_t type, const char* data) {
    library.calls.clear();
    protectedPolicy.encryptMessage(message(type, data));
    return library.calls.front();
  };
  EXPECT_EQ(asked(9, "17 01 000000 aabb"), "querySample 2 1 64 0 0 0 4") << "no video track yet";
  addAvcTrack();
  addAacTrack();
  newProtectedSegment();
  EXPECT_EQ(asked(9, "17 01 000000 aabb"), "querySample 2 1 64 0 0 1 4");
  EXPECT_EQ(asked(8, "af 01 aa"), "querySample 1 2 64 0 0 0 4");
  EXPECT_EQ(asked(18, "02"), "querySample 1 4 64 0 0 0 4");
  EXPECT_EQ(asked(15, "02"), "querySample 1 4 64 0 0 0 4");
  EXPECT_EQ(asked(9, "14 31 aabb"), "querySample 3 1 64 0 0 1 4") << "the track says what it is";
}

TEST_F(ProtectedTags, TakeOneBlockEach) {
  {
    const NQMessage clear = message(9, "17 01 000000 aabb");
    const NQMessage result = protectedPolicy.encryptMessage(clear);
    EXPECT_EQ(arena.held, 2);
    EXPECT_EQ(result.memory()->getSize(), result.totalSize());
    EXPECT_EQ(imageOf(clear).substr(0, 8), "09000007") << "as it was";
  }
  EXPECT_EQ(arena.held, 0);
}

TEST_F(ProtectedTags, RefuseWhatATagCannotHold) {
  library.encryptedKinds = 0;
  const std::vector<std::byte> data(0xFFFFFF - 7, std::byte{0x2F});
  const NQMessage fits(arena, 0, 8, 0, data.data(), 0xFFFFFF - 7);
  EXPECT_EQ(protectedPolicy.encryptMessage(fits).dataSize(), 0xFFFFFFU);
  library.filterName = "FF";
  EXPECT_THROW(protectedPolicy.encryptMessage(fits), qvs::QVSException);
  EXPECT_EQ(arena.held, 1);
}

TEST_F(ProtectedTags, PassOnTheLibrarysStatus) {
  const NQMessage clear = message(9, "17 01 000000 aabb");
  for (const char* call : {"querySample", "encryptSample"}) {
    library.statuses = {{call, 14}};
    EXPECT_THROW(protectedPolicy.encryptMessage(clear), rkx::RKXException) << call;
    EXPECT_EQ(arena.held, 1) << call;
  }
}

}  // namespace
