#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

#include "platform/encryption/unprotect.h"
#include "tests/support/ProtectionSet.h"
#include "tests/support/hex.h"

namespace {

using test::encryptorTable;
using test::fromHex;
using test::hex;

const std::vector<std::byte> kKey = fromHex("06a9214036b8a15b512e03d534120006");

struct Encrypted {
  RKXStatus status;
  std::vector<std::byte> cipher;
  std::vector<std::byte> vector;
};

Encrypted encrypt(RKXObject* encryptor, const std::vector<std::byte>& sample) {
  using krvo::encryption::raw;
  Encrypted result{0, std::vector<std::byte>(sample.size() + 16), std::vector<std::byte>(16)};
  auto size = static_cast<std::uint32_t>(result.cipher.size());
  std::uint32_t vectorSize = 16;
  result.status =
      encryptorTable().encryptSample(encryptor, raw(sample.data()), static_cast<std::uint32_t>(sample.size()),
                                     raw(result.cipher.data()), &size, raw(result.vector.data()), &vectorSize);
  result.cipher.resize(size);
  return result;
}

// The way back is held against RFC 3602, 4, case 1, and the block of padding that belongs behind it.
TEST(EncryptSample, IsCipherBlockChainingWithPadding) {
  krvo::encryption::SampleDecipher decipher(kKey);
  const auto known = decipher.decrypt(fromHex("e353779c1079aeb82708942dbe77181a b97c825e1c785146542d396941bce55d"),
                                      fromHex("3dafba429d9eb430b422da802c9fac41"));
  ASSERT_TRUE(known);
  ASSERT_EQ(hex(*known), hex(std::string_view("Single block msg")));

  const auto encryptor = test::makeEncryptor(kKey);
  for (const std::size_t size : {1U, 15U, 16U, 17U, 32U, 100U}) {
    std::vector<std::byte> sample(size);
    for (std::size_t i = 0; i < size; ++i) sample[i] = static_cast<std::byte>(i * 7);
    const auto encrypted = encrypt(encryptor.get(), sample);
    ASSERT_EQ(encrypted.status, kRKXOk);
    EXPECT_EQ(encrypted.cipher.size(), size / 16 * 16 + 16);
    EXPECT_EQ(decipher.decrypt(encrypted.cipher, encrypted.vector), sample) << size;
  }
}

TEST(EncryptSample, DrawsAVectorOfItsOwnForEachSample) {
  const auto first = test::makeEncryptor(kKey);
  const auto second = test::makeEncryptor(kKey);
  std::set<std::vector<std::byte>> vectors;
  for (int i = 0; i < 50000; ++i) {
    for (auto* encryptor : {first.get(), second.get()}) vectors.insert(encrypt(encryptor, fromHex("00")).vector);
  }
  EXPECT_EQ(vectors.size(), 100000U);
}

TEST(EncryptSample, AnswersTheSizesItNeeds) {
  const auto encryptor = test::makeEncryptor(kKey);
  const std::uint8_t sample[20] = {};
  std::uint8_t destination[32] = {};
  std::uint8_t vector[16] = {};
  const auto call = [&](std::uint32_t room, std::uint32_t vectorRoom) {
    const auto status =
        encryptorTable().encryptSample(encryptor.get(), sample, 20, destination, &room, vector, &vectorRoom);
    EXPECT_EQ(room, 32U);
    EXPECT_EQ(vectorRoom, 16U);
    EXPECT_EQ(std::ranges::count(destination, 0) == 32, status != kRKXOk) << "written only where there is room";
    return status;
  };
  EXPECT_EQ(call(31, 16), kRKXBufferTooSmall);
  EXPECT_EQ(call(32, 15), kRKXBufferTooSmall);
  EXPECT_EQ(call(0, 0), kRKXBufferTooSmall);
  EXPECT_EQ(call(32, 16), kRKXOk);
}

TEST(EncryptSample, RefusesBadArguments) {
  const auto encryptor = test::makeEncryptor(kKey);
  std::uint8_t bytes[64] = {};
  std::uint32_t size = 64;
  std::uint32_t vectorSize = 16;
  const auto call = encryptorTable().encryptSample;
  EXPECT_EQ(call(nullptr, bytes, 1, bytes, &size, bytes, &vectorSize), kRKXBadArgument);
  EXPECT_EQ(call(encryptor.get(), nullptr, 1, bytes, &size, bytes, &vectorSize), kRKXBadArgument);
  EXPECT_EQ(call(encryptor.get(), bytes, 1, nullptr, &size, bytes, &vectorSize), kRKXBadArgument);
  EXPECT_EQ(call(encryptor.get(), bytes, 1, bytes, nullptr, bytes, &vectorSize), kRKXBadArgument);
  EXPECT_EQ(call(encryptor.get(), bytes, 1, bytes, &size, nullptr, &vectorSize), kRKXBadArgument);
  EXPECT_EQ(call(encryptor.get(), bytes, 1, bytes, &size, bytes, nullptr), kRKXBadArgument);
  EXPECT_EQ(call(encryptor.get(), bytes, 0xFFFFFF, bytes, &size, bytes, &vectorSize), kRKXSampleTooLarge);
  EXPECT_EQ(test::metadataTable().metadataSize(encryptor.get(), &size), kRKXBadArgument) << "an object of another kind";
}

TEST(CreateEncryptor, RefusesBadArguments) {
  const auto create = [](std::uint32_t keySize, std::uint32_t contentIdSize, const RKXEncryptionOptions& options,
                         std::uint32_t one = 1, std::uint32_t zero = 0) {
    RKXObject* made = nullptr;
    const auto* const key = krvo::encryption::raw(kKey.data());
    const auto status = encryptorTable().createEncryptor(&made, key, keySize, "id", contentIdSize, &options, one, zero);
    EXPECT_EQ(made, nullptr);
    return status;
  };
  EXPECT_EQ(create(0, 2, {1, 1, 1, 2, 0}), kRKXBadKeyLength);
  EXPECT_EQ(create(15, 2, {1, 1, 1, 2, 0}), kRKXBadKeyLength);
  EXPECT_EQ(create(16, 0, {1, 1, 1, 2, 0}), kRKXBadArgument) << "no content identifier";
  EXPECT_EQ(create(16, 2, {1, 1, 1, 3, 0}), kRKXBadArgument) << "a level of 3";
  EXPECT_EQ(create(16, 2, {1, 2, 1, 2, 0}), kRKXBadArgument) << "a flag of 2";
  EXPECT_EQ(create(16, 2, {1, 1, 1, 2, 1}), kRKXBadArgument) << "a reserved word";
  EXPECT_EQ(create(16, 2, {1, 1, 1, 2, 0}, 0, 0), kRKXBadArgument) << "a one that is none";
  EXPECT_EQ(create(16, 2, {1, 1, 1, 2, 0}, 1, 1), kRKXBadArgument) << "a zero that is none";
}

}  // namespace
