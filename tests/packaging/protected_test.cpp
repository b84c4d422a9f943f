// Protected recordings on a fake library: their tags and the descriptions of their tracks, byte for byte.

#include "packaging/EncryptedK2RMediaWriterPolicy.h"
#include "tests/packaging/recordingFixture.h"
#include "tests/support/FakeLibrary.h"
#include "util/QVSException.h"
#include "wrappers/rkx/RKXException.h"

namespace {

using namespace test;
using namespace ruvo::k2rpkgutil;
using namespace qvs::util;

/// A protected recording on a fake library.
class ProtectedTags : public RecordingFixture {
 protected:
  NQMessage message(std::uint8_t type, const char* data) {
    return RecordingFixture::message(type, data, 0x40, 0x01020304);
  }

  FakeLibrary library;
  EncryptedK2RMediaWriterPolicy protectedPolicy{
      rkx::RKXEncryptor(std::as_bytes(std::span("key", 3)), "id", {1, 1, 1, 2, 0}), *this, "QUJD"};
};

using ProtectedTracks = ProtectedTags;

/// The protection box of the metadata text "QUJD", for a format code in hex.
std::string sinfImage(const std::string& format) {
  return hex(
      fromHex("00000091 73696e66"  // sinf
              "0000000c 66726d61" +
              format +                                                   // frma
              "00000014 7363686d 01000000 61646b6d 00000001"             // schm
              "00000069 73636869"                                        // schi
              "00000061 61646b6d 01000000"                               // adkm
              "00000046 61686472 02000000"                               // ahdr
              "0000003a 6170726d 01000000"                               // aprm
              "00000015 61656962 01000000 4145532d 43424300 10"          // aeib
              "00000019 616b6579 01000000 0000000d 666c7873 51554a4400"  // akey, flxs
              "0000000f 61646166 00000000 800010"));                     // adaf
}

std::string imageOf(const NQMessage& message) {
  return hex(std::span(message.header(), message.totalSize()));
}

TEST_F(ProtectedTags, ReplaceTheSampleByParametersAndCipherText) {
  const struct {
    const char* what;
    std::uint8_t type;
    // Of the tag: type and size, the bytes that stay clear, and the cipher text without its filling.
    const char *data, *head, *clear, *cipher;
  } rows[] = {{"AVC", 9, "17 01 0000c8 aabbcc", "29 00002c", "17 01 0000c8", "554433"},
              {"VP6, one byte of its header goes into the sample", 9, "14 31 aabb", "29 000028", "14", "ce5544"},
              {"VP6 without a header", 9, "14", "29 000027", "", "eb"},
              {"audio without codec header bytes", 8, "e0 aa", "28 000027", "", "1f55"},
              {"script data", 18, "02 aa", "32 000027", "", "fd55"},
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
    EXPECT_EQ(result.memory()->getSize(), result.totalSize()) << row.what;
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

TEST_F(ProtectedTags, RefuseWhatATagCannotHold) {
  library.encryptedKinds = 0;
  const std::vector<std::byte> data(0xFFFFFF - 7, std::byte{0x2F});
  const NQMessage fits(arena, 0, 8, 0, data.data(), 0xFFFFFF - 7);
  EXPECT_EQ(protectedPolicy.encryptMessage(fits).dataSize(), 0xFFFFFFU);
  library.filterName = "FF";
  EXPECT_THROW(protectedPolicy.encryptMessage(fits), qvs::QVSException);
}

TEST_F(ProtectedTags, PassOnTheLibrarysStatus) {
  const NQMessage clear = message(9, "17 01 000000 aabb");
  for (const char* call : {"querySample", "encryptSample"}) {
    library.statuses = {{call, 14}};
    EXPECT_THROW(protectedPolicy.encryptMessage(clear), rkx::RKXException) << call;
  }
  library.statuses.clear();
  library.missing = 1;
  EXPECT_THROW(protectedPolicy.encryptMessage(clear), qvs::QVSException) << "another size than was said";
}

TEST_F(ProtectedTracks, AreDescribedUnderAProtectedCode) {
  addSecondDescription(addAvcTrack(), 9, "14 00");
  addSecondDescription(addAacTrack(), 8, "2f");
  addDataTrack();
  for (int segment = 0; segment < 2; ++segment) {
    newSegment(&protectedPolicy);
    EXPECT_EQ(image().tracks.at(0), "vide 'MainConcept' eng encv " + hex(fromHex(kAvcC + sinfImage("48323634"))) +
                                        " encv " + sinfImage("56503646"));
    EXPECT_EQ(image().tracks.at(1), "soun 'MainConcept' eng enca " + hex(fromHex(kEsds + sinfImage("6d703461"))) +
                                        " enca " + sinfImage("2e6d7033"));
    EXPECT_EQ(image().tracks.at(2), "meta 'MainConcept' eng encr " + sinfImage("616d6630"));
  }
}

TEST_F(ProtectedTracks, TakeNoCompositionTimeFromAMessageTooShortToHaveOne) {
  library.filterName = "AES";
  addAvcTrack();
  add(9, 0, "27 01 aaaa");
  EXPECT_EQ(writtenAlone(), "9@0[vide 11+4]");
  write(*newSegment(&protectedPolicy));
  EXPECT_EQ(image().fragments.at(0), "41@0[vide 19+33]");
}

TEST_F(ProtectedTracks, AreReadBack) {
  addSecondDescription(addAvcTrack(), 9, "14 00");
  addDataTrack();
  add(9, 0, "17 01 000000 aa");
  const std::uint64_t position = write(*newSegment(&protectedPolicy));
  K2RMediaWriter writer(protectedPolicy, file, position, warnings);
  EXPECT_EQ(tracksOf(writer),
            "vide eng 1000 7 0 0x0 1 12 1 1000 160 H264 vide 640x360 72x72 1 24 160: " + hex(fromHex(kAvcC)) + ": " +
                sinfImage("48323634") + " VP6F vide 640x360 72x72 1 24 145: " + sinfImage("56503646") +
                "\nmeta eng 1000 7 0 0x0 1 12 1 1000 145 amf0 meta 145: " + sinfImage("616d6630") +
                "\nhint eng 1000 0 0 0x0 0 32 1 1000 16\n");
}

}  // namespace
