#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

#include "tests/support/ProtectionSet.h"
#include "tests/support/hex.h"

namespace {

using test::encryptorTable;
using test::fromHex;
using test::hex;

const std::string kKey = "2b7e151628aed2a6abf7158809cf4f3c";

std::uint8_t* raw(std::vector<std::byte>& bytes) {
  return reinterpret_cast<std::uint8_t*>(bytes.data());
}

const std::uint8_t* raw(const std::vector<std::byte>& bytes) {
  return reinterpret_cast<const std::uint8_t*>(bytes.data());
}

struct Encrypted {
  RKXStatus status;
  std::vector<std::byte> cipher;
  std::vector<std::byte> vector;
};

Encrypted encrypt(RKXObject* encryptor, const std::vector<std::byte>& sample) {
  Encrypted result{0, std::vector<std::byte>(sample.size() + 16), std::vector<std::byte>(16)};
  auto size = static_cast<std::uint32_t>(result.cipher.size());
  std::uint32_t vectorSize = 16;
  result.status = encryptorTable().encryptSample(encryptor, raw(sample), static_cast<std::uint32_t>(sample.size()),
                                                 raw(result.cipher), &size, raw(result.vector), &vectorSize);
  result.cipher.resize(size);
  return result;
}

/// One block through AES-128 alone.
std::vector<std::byte> aesBlock(const std::vector<std::byte>& key, const std::vector<std::byte>& block) {
  const krvo::encryption::CipherContextPtr context(EVP_CIPHER_CTX_new());
  EVP_EncryptInit_ex2(context.get(), EVP_aes_128_ecb(), raw(key), nullptr, nullptr);
  std::vector<std::byte> out(32);
  int written = 0;
  EVP_EncryptUpdate(context.get(), raw(out), &written, raw(block), 16);
  out.resize(16);
  return out;
}

std::vector<std::byte> exclusiveOr(const std::vector<std::byte>& left, const std::byte* right) {
  auto out = left;
  for (std::size_t i = 0; i < out.size(); ++i) out[i] ^= right[i];
  return out;
}

// The mode spelled out over the block cipher, which itself is held against FIPS 197.
TEST(EncryptSample, IsCipherBlockChainingWithPadding) {
  ASSERT_EQ(hex(aesBlock(fromHex("000102030405060708090a0b0c0d0e0f"), fromHex("00112233445566778899aabbccddeeff"))),
            "69c4e0d8 6a7b0430 d8cdb780 70b4c55a");
  const auto encryptor = test::makeEncryptor(fromHex(kKey));
  for (const std::size_t size : {1U, 15U, 16U, 17U, 32U, 100U}) {
    std::vector<std::byte> sample(size);
    for (std::size_t i = 0; i < size; ++i) sample[i] = static_cast<std::byte>(i * 7);
    const auto encrypted = encrypt(encryptor.get(), sample);
    ASSERT_EQ(encrypted.status, kRKXOk);

    const auto padding = 16 - size % 16;
    sample.insert(sample.end(), padding, static_cast<std::byte>(padding));
    std::vector<std::byte> expected;
    auto chain = encrypted.vector;
    for (std::size_t at = 0; at < sample.size(); at += 16) {
      chain = aesBlock(fromHex(kKey), exclusiveOr(chain, sample.data() + at));
      expected.insert(expected.end(), chain.begin(), chain.end());
    }
    EXPECT_EQ(hex(encrypted.cipher), hex(expected)) << size;
  }
}

TEST(EncryptSample, DrawsAVectorOfItsOwnForEachSample) {
  const auto first = test::makeEncryptor(fromHex(kKey));
  const auto second = test::makeEncryptor(fromHex(kKey));
  std::set<std::string> vectors;
  const std::vector<std::byte> sample(20);
  for (int i = 0; i < 50000; ++i) {
    for (auto* encryptor : {first.get(), second.get()}) {
      const auto vector = encrypt(encryptor, sample).vector;
      vectors.emplace(reinterpret_cast<const char*>(vector.data()), vector.size());
    }
  }
  EXPECT_EQ(vectors.size(), 100000U);
}

TEST(EncryptSample, AnswersTheSizesItNeeds) {
  const auto encryptor = test::makeEncryptor(fromHex(kKey));
  const std::uint8_t sample[20] = {};
  std::uint8_t destination[32] = {};
  std::uint8_t vector[16] = {};
  const struct { std::uint32_t room, vectorRoom; } rows[] = {{31, 16}, {0, 16}, {32, 15}, {0, 0}};
  for (const auto& row : rows) {
    auto size = row.room;
    auto vectorSize = row.vectorRoom;
    EXPECT_EQ(encryptorTable().encryptSample(encryptor.get(), sample, 20, destination, &size, vector, &vectorSize),
              kRKXBufferTooSmall);
    EXPECT_EQ(size, 32U);
    EXPECT_EQ(vectorSize, 16U);
    EXPECT_EQ(std::count(destination, destination + 32, 0), 32) << "nothing is written";
  }
  std::uint32_t size = 32;
  std::uint32_t vectorSize = 16;
  EXPECT_EQ(encryptorTable().encryptSample(encryptor.get(), sample, 20, destination, &size, vector, &vectorSize),
            kRKXOk);
}

TEST(EncryptSample, RefusesBadArguments) {
  const auto encryptor = test::makeEncryptor(fromHex(kKey));
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
}

TEST(CreateEncryptor, RefusesBadArguments) {
  const auto key = fromHex(kKey);
  const struct {
    const char* why;
    RKXStatus status;
    std::uint32_t keySize;
    std::uint32_t contentIdSize;
    RKXEncryptionOptions options;
    std::uint32_t one, zero;
  } rows[] = {
      {"no key", kRKXBadKeyLength, 0, 2, {1, 1, 1, 2, 0}, 1, 0},
      {"a short key", kRKXBadKeyLength, 15, 2, {1, 1, 1, 2, 0}, 1, 0},
      {"no content identifier", kRKXBadArgument, 16, 0, {1, 1, 1, 2, 0}, 1, 0},
      {"a level of 3", kRKXBadArgument, 16, 2, {1, 1, 1, 3, 0}, 1, 0},
      {"a flag of 2", kRKXBadArgument, 16, 2, {1, 2, 1, 2, 0}, 1, 0},
      {"a reserved word", kRKXBadArgument, 16, 2, {1, 1, 1, 2, 1}, 1, 0},
      {"a one that is none", kRKXBadArgument, 16, 2, {1, 1, 1, 2, 0}, 0, 0},
      {"a zero that is none", kRKXBadArgument, 16, 2, {1, 1, 1, 2, 0}, 1, 1},
  };
  for (const auto& row : rows) {
    RKXObject* made = nullptr;
    EXPECT_EQ(encryptorTable().createEncryptor(&made, raw(key), row.keySize, "id", row.contentIdSize, &row.options,
                                               row.one, row.zero),
              row.status)
        << row.why;
    EXPECT_EQ(made, nullptr) << row.why;
  }
}

TEST(EncryptionLibrary, TellsItsObjectsApart) {
  const test::ProtectionSet set;
  const auto encryptor = test::makeEncryptor(set.key);
  std::uint32_t size = 0;
  EXPECT_EQ(test::metadataTable().metadataSize(encryptor.get(), &size), kRKXBadArgument);
  EXPECT_EQ(test::metadataTable().metadataSize(nullptr, &size), kRKXBadArgument);
  EXPECT_EQ(RKX_GetEncryptorInterface(nullptr), kRKXBadArgument);
  EXPECT_EQ(RKX_GetMetadataInterface(nullptr), kRKXBadArgument);
  EXPECT_EQ(RKXInitialize(nullptr), kRKXBadArgument);
  EXPECT_EQ(encryptorTable().words, 5U);
  EXPECT_EQ(test::metadataTable().words, 5U);
}

}  // namespace
