#include <gtest/gtest.h>

#include <string>

#include "tests/support/ProtectionSet.h"
#include "tests/support/hex.h"

namespace {

using test::encryptorTable;
using test::fromHex;

const std::vector<std::byte> kKey(16, std::byte{7});

struct Query {
  RKXStatus status;
  RKXSampleInfo info;
};

Query query(const RKXEncryptionOptions& options, const std::vector<std::byte>& sample, std::uint32_t kind,
            std::uint32_t avc) {
  const auto encryptor = test::makeEncryptor(kKey, options);
  Query answer{};
  answer.status =
      encryptorTable().querySample(encryptor.get(), reinterpret_cast<const std::uint8_t*>(sample.data()),
                                   static_cast<std::uint32_t>(sample.size()), kind, 40, 0, 0, &answer.info, avc, 4);
  return answer;
}

bool encrypts(const RKXEncryptionOptions& options, const std::string& sample, std::uint32_t kind, std::uint32_t avc) {
  const auto answer = query(options, fromHex(sample), kind, avc);
  EXPECT_EQ(answer.status, kRKXOk);
  return answer.info.encrypted != 0;
}

TEST(QuerySample, AnswersNameAndSizes) {
  const std::vector<std::byte> sample(32);
  const auto encrypted = query({1, 1, 1, 2, 0}, sample, kRKXScriptData, 0);
  EXPECT_STREQ(encrypted.info.filterName, "AES128CBC");
  EXPECT_EQ(encrypted.info.filterCount, 1U);
  EXPECT_EQ(encrypted.info.encrypted, 1U);
  EXPECT_EQ(encrypted.info.encryptedSize, 48U);
  EXPECT_EQ(encrypted.info.vectorSize, 16U);

  const auto clear = query({1, 1, 0, 2, 0}, sample, kRKXScriptData, 0);
  EXPECT_STREQ(clear.info.filterName, "AES128CBC");
  EXPECT_EQ(clear.info.encrypted, 0U);
  EXPECT_EQ(clear.info.encryptedSize, 32U);
  EXPECT_FALSE(encrypts({1, 1, 1, 2, 0}, "0102030405060708", kRKXOther, 0)) << "none of the three kinds";
}

TEST(QuerySample, EncryptsAvcByLevelAndAlwaysWhatItCannotJudge) {
  // Slices begin with first_mb_in_slice 0 ("1"), then slice_type: 5 is P ("00110"), 7 is I ("0001000").
  const struct {
    const char* what;
    const char* sample;
    std::uint32_t lowestLevel;
  } rows[] = {
      {"an IDR picture", "00000003 658880", 0},
      {"an IDR picture behind its parameters", "00000002 6742 00000002 68ce 00000003 658880", 0},
      {"an intra picture", "00000003 018880", 0},
      {"a P picture that others refer to", "00000003 419880", 1},
      {"a P picture that none refers to", "00000003 019880", 2},
      {"the same in two slices, the last of a reference", "00000003 019880 00000003 219880", 1},
      {"the same behind a delimiter", "00000002 0910 00000003 019880", 2},
      {"the same behind messages", "00000005 06 0501aa 80 00000003 019880", 2},
      {"the same behind a recovery point", "00000005 06 0601aa 80 00000003 019880", 0},
      {"the same behind it and an escaped message", "0000000b 06 0503 000003 00 0601 c0 80 00000003 019880", 0},
      {"the same behind an escaped message", "00000008 06 0503 000003 00 80 00000003 019880", 2},
      {"a picture of one intra and one other slice", "00000003 018880 00000003 019880", 2},
      {"data partitions", "00000003 029880 00000002 0380 00000002 0480", 2},
      {"a length beyond the sample", "00000004 019880", 0},
      {"a length of 2^32 - 1", "ffffffff 019880", 0},
      {"a cut length", "00000003 019880 000000", 0},
      {"an empty NAL unit", "00000003 019880 00000000", 0},
      {"no slice", "00000002 0910", 0},
      {"a slice of a header alone", "00000001 01", 0},
      {"a slice type beyond 9", "00000003 01 8540", 0},
      {"a number of too many zeros", "00000007 01 00000000 0000", 0},
      {"the forbidden bit", "00000003 819880", 0},
      {"an unknown type", "00000003 019880 00000003 1f9880", 0},
      {"a message with something behind it", "00000006 06 0501aa 80 00 00000003 019880", 0},
      {"a message that ends early", "00000003 06 0509 00000003 019880", 0},
      {"no run at all", "de", 0},
  };
  for (const auto& row : rows) {
    for (std::uint32_t level = 0; level < 3; ++level) {
      EXPECT_EQ(encrypts({1, 0, 0, level, 0}, row.sample, kRKXVideo, 1), level >= row.lowestLevel) << row.what << level;
      EXPECT_FALSE(encrypts({0, 1, 1, level, 0}, row.sample, kRKXVideo, 1)) << row.what;
      EXPECT_TRUE(encrypts({1, 0, 0, level, 0}, row.sample, kRKXVideo, 0)) << "no AVC: " << row.what;
    }
  }
}

TEST(QuerySample, LeavesConfigurationsInTheClear) {
  const RKXEncryptionOptions all{1, 1, 1, 2, 0};
  const struct {
    const char* what;
    const char* sample;
    std::uint32_t kind, avc;
    bool encrypted;
  } rows[] = {
      {"an AVC record", "01 42001e ff e1 0004 67420102 01 0003 68ce38", kRKXVideo, 1, false},
      {"one of a high profile", "01 64001e ff e1 0004 67640102 01 0003 68ce38 fd f8 f8 00", kRKXVideo, 1, false},
      {"one with something behind it", "01 42001e ff e1 0004 67420102 01 0003 68ce38 00", kRKXVideo, 1, true},
      {"one that is cut", "01 42001e ff e1 0004 67420102 01 0003 68ce", kRKXVideo, 1, true},
      {"one of other NAL units", "01 42001e ff e1 0004 65420102 01 0003 68ce38", kRKXVideo, 1, true},
      {"one without a sequence parameter set", "01 42001e ff e0 01 0003 68ce38", kRKXVideo, 1, true},
      {"the same in a stream that is no AVC", "01 42001e ff e1 0004 67420102 01 0003 68ce38", kRKXVideo, 0, true},
      {"an AAC configuration", "1210", kRKXAudio, 0, false},
      {"one with replication", "1210 56e500", kRKXAudio, 0, false},
      {"one with something else behind it", "1210 56a500", kRKXAudio, 0, true},
      {"a short frame", "01182007", kRKXAudio, 0, true},
      {"a frame of a fill element", "c1c0", kRKXAudio, 0, true},
      {"the end of a sequence", "", kRKXVideo, 1, false},
      {"an empty sample", "", kRKXAudio, 0, false},
      {"empty data", "", kRKXScriptData, 0, false},
  };
  for (const auto& row : rows) EXPECT_EQ(encrypts(all, row.sample, row.kind, row.avc), row.encrypted) << row.what;
}

TEST(QuerySample, RefusesBadArguments) {
  const auto encryptor = test::makeEncryptor(kKey);
  const std::uint8_t sample[4] = {};
  RKXSampleInfo info{};
  const auto call = encryptorTable().querySample;
  EXPECT_EQ(call(nullptr, sample, 4, kRKXVideo, 0, 0, 0, &info, 0, 4), kRKXBadArgument);
  EXPECT_EQ(call(encryptor.get(), nullptr, 4, kRKXVideo, 0, 0, 0, &info, 0, 4), kRKXBadArgument);
  EXPECT_EQ(call(encryptor.get(), sample, 4, kRKXVideo, 0, 0, 0, nullptr, 0, 4), kRKXBadArgument);
  EXPECT_EQ(call(encryptor.get(), sample, 4, 3, 0, 0, 0, &info, 0, 4), kRKXBadArgument) << "no such kind";
  EXPECT_EQ(call(encryptor.get(), sample, 4, kRKXVideo, 0, 1, 0, &info, 0, 4), kRKXBadArgument);
  EXPECT_EQ(call(encryptor.get(), sample, 4, kRKXVideo, 0, 0, 0, &info, 2, 4), kRKXBadArgument);
  EXPECT_EQ(call(encryptor.get(), sample, 4, kRKXVideo, 0, 0, 0, &info, 1, 2), kRKXBadArgument);
  const std::vector<std::byte> large(0xFFFFFF - 70);
  EXPECT_EQ(query({1, 1, 1, 2, 0}, large, kRKXAudio, 0).status, kRKXSampleTooLarge);
}

}  // namespace
