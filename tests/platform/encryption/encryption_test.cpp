// The encryption of samples, and the metadata that open it again.

#include <type_traits>

#include "platform/encryption/MetadataContent.h"
#include "platform/encryption/krvo_unprotect.h"
#include "tests/support/ProtectionSet.h"
#include "tests/support/testing.h"

namespace {

using namespace krvo::encryption;
using namespace test;

const std::vector<std::byte> kKey = fromHex("06a9214036b8a15b512e03d534120006");

/// Cipher text and vector.
std::pair<std::vector<std::byte>, std::vector<std::byte>> encrypt(RKXObject* encryptor,
                                                                  const std::vector<std::byte>& sample) {
  std::vector<std::byte> cipher(sample.size() + 16), vector(16);
  std::uint32_t size = sizeOf(cipher), vectorSize = 16;
  EXPECT_EQ(encryptorTable().encryptSample(encryptor, raw(sample), sizeOf(sample), raw(cipher.data()), &size,
                                           raw(vector.data()), &vectorSize),
            kRKXOk);
  cipher.resize(size);
  return {cipher, vector};
}

// The way back is held against RFC 3602, 4, case 1, and the block of padding that belongs behind it.
TEST(EncryptSample, IsCipherBlockChainingWithPadding) {
  SampleDecipher decipher(kKey);
  const auto known = decipher.decrypt(fromHex("e353779c1079aeb82708942dbe77181a b97c825e1c785146542d396941bce55d"),
                                      fromHex("3dafba429d9eb430b422da802c9fac41"));
  ASSERT_TRUE(known);
  ASSERT_EQ(hex(*known), hex(std::string_view("Single block msg")));

  const auto encryptor = makeEncryptor(kKey);
  for (const std::size_t size : {1U, 15U, 16U, 17U, 32U, 100U}) {
    std::vector<std::byte> sample(size);
    for (std::size_t i = 0; i < size; ++i) sample[i] = static_cast<std::byte>(i * 7);
    const auto [cipher, vector] = encrypt(encryptor.get(), sample);
    EXPECT_EQ(cipher.size(), size / 16 * 16 + 16);
    EXPECT_EQ(decipher.decrypt(cipher, vector), sample) << size;
  }
}

TEST(EncryptSample, DrawsAVectorOfItsOwnForEachSample) {
  const auto first = makeEncryptor(kKey), second = makeEncryptor(kKey);
  std::set<std::vector<std::byte>> vectors;
  for (int i = 0; i < 50000; ++i) {
    for (auto* encryptor : {first.get(), second.get()}) vectors.insert(encrypt(encryptor, fromHex("00")).second);
  }
  EXPECT_EQ(vectors.size(), 100000U);
}

TEST(EncryptSample, ReturnsTheSizesItNeeds) {
  const auto encryptor = makeEncryptor(kKey);
  const std::uint8_t sample[20] = {};
  std::uint8_t destination[32] = {}, vector[16] = {};
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

TEST(EncryptorTable, RefusesBadArguments) {
  const auto encryptor = makeEncryptor(kKey);
  const std::uint8_t sample[4] = {};
  std::uint8_t bytes[64] = {};
  std::uint32_t size = 64, vectorSize = 16;
  RKXSampleInfo info{};
  const auto encryptSample = encryptorTable().encryptSample;
  EXPECT_EQ(encryptSample(encryptor.get(), bytes, 0xFFFFFF, bytes, &size, bytes, &vectorSize), kRKXSampleTooLarge);
  EXPECT_EQ(metadataTable().metadataSize(encryptor.get(), &size), kRKXBadArgument) << "an object of another kind";
  const auto query = encryptorTable().querySample;
  EXPECT_EQ(query(encryptor.get(), sample, 4, 3, 0, 0, 0, &info, 0, 4), kRKXBadArgument) << "no such kind";
  EXPECT_EQ(query(encryptor.get(), sample, 4, kRKXVideo, 0, 0, 0, &info, 1, 2), kRKXBadArgument);
  const std::vector<std::byte> large(0xFFFFFF - 70);
  EXPECT_EQ(query(encryptor.get(), raw(large), sizeOf(large), kRKXAudio, 40, 0, 0, &info, 0, 4), kRKXSampleTooLarge);

  const auto create = [](std::uint32_t keySize, std::uint32_t contentIdSize, const RKXEncryptionOptions& options) {
    RKXObject* made = nullptr;
    const auto status =
        encryptorTable().createEncryptor(&made, raw(kKey), keySize, "id", contentIdSize, &options, 1, 0);
    EXPECT_EQ(made, nullptr);
    return status;
  };
  EXPECT_EQ(create(15, 2, {1, 1, 1, 2, 0}), kRKXBadKeyLength);
  EXPECT_EQ(create(16, 2, {1, 1, 1, 3, 0}), kRKXBadArgument) << "a level of 3";
  EXPECT_EQ(create(16, 2, {1, 2, 1, 2, 0}), kRKXBadArgument) << "a flag of 2";
}

RKXSampleInfo query(const RKXEncryptionOptions& options, const std::vector<std::byte>& sample, std::uint32_t kind,
                    std::uint32_t avc) {
  RKXSampleInfo info{};
  EXPECT_EQ(encryptorTable().querySample(makeEncryptor(kKey, options).get(), raw(sample), sizeOf(sample), kind, 40, 0,
                                         0, &info, avc, 4),
            kRKXOk);
  return info;
}

bool encrypts(const RKXEncryptionOptions& options, const std::string& sample, std::uint32_t kind, std::uint32_t avc) {
  return query(options, fromHex(sample), kind, avc).encrypted != 0;
}

TEST(QuerySample, ReturnsNameAndSizes) {
  const auto answer = [](const RKXEncryptionOptions& options) {
    const RKXSampleInfo info = query(options, std::vector<std::byte>(32), kRKXScriptData, 0);
    EXPECT_STREQ(info.filterName, "AES128CBC");
    return std::array{info.filterCount, info.encrypted, info.encryptedSize, info.vectorSize};
  };
  EXPECT_EQ(answer({1, 1, 1, 2, 0}), (std::array{1U, 1U, 48U, 16U}));
  EXPECT_EQ(answer({1, 1, 0, 2, 0}), (std::array{1U, 0U, 32U, 16U}));
  EXPECT_FALSE(encrypts({1, 1, 1, 2, 0}, "0102030405060708", kRKXOther, 0)) << "none of the three kinds";
}

TEST(QuerySample, EncryptsAvcByLevelAndAlwaysWhatItCannotJudge) {
  // Slices begin with first_mb_in_slice 0 ("1"), then slice_type: 5 is P ("00110"), 7 is I ("0001000"), 9 is SI
  // ("0001010").
  const std::tuple<const char*, const char*, std::uint32_t> rows[] = {
      {"an IDR picture behind its parameters", "00000002 6742 00000002 68ce 00000003 658880", 0},
      {"an intra picture", "00000003 018880", 0},
      {"an intra picture that switches streams", "00000003 018a80", 0},
      {"a P picture that others refer to", "00000003 419880", 1},
      {"a P picture that none refers to", "00000003 019880", 2},
      {"the same in two slices, the last of a reference", "00000003 019880 00000003 219880", 1},
      {"the same behind a delimiter", "00000002 0910 00000003 019880", 2},
      {"the same behind messages", "00000005 06 0501aa 80 00000003 019880", 2},
      {"the same behind a recovery point", "00000005 06 0601aa 80 00000003 019880", 0},
      {"the same behind it and an escaped message", "0000000b 06 0503 000003 00 0601 c0 80 00000003 019880", 0},
      {"a picture of one intra and one other slice", "00000003 018880 00000003 019880", 2},
      {"data partitions", "00000003 029880 00000002 0380 00000002 0480", 2},
      {"a length beyond the sample", "00000004 019880", 0},
      {"a cut length", "00000003 019880 000000", 0},
      {"an empty NAL unit", "00000003 019880 00000000", 0},
      {"no slice", "00000002 0910", 0},
      {"a slice type beyond 9", "00000003 01 8540", 0},
      {"a number of too many zeros", "00000007 01 00000000 0000", 0},
      {"the forbidden bit", "00000003 819880", 0},
      {"an unknown type", "00000003 019880 00000003 1f9880", 0},
      {"a message with something behind it", "00000006 06 0501aa 80 00 00000003 019880", 0},
      {"a message that ends early", "00000003 06 0509 00000003 019880", 0}};
  for (const auto& [what, sample, lowestLevel] : rows) {
    for (std::uint32_t level = 0; level < 3; ++level) {
      EXPECT_EQ(encrypts({1, 0, 0, level, 0}, sample, kRKXVideo, 1), level >= lowestLevel) << what << level;
      EXPECT_FALSE(encrypts({0, 1, 1, level, 0}, sample, kRKXVideo, 1)) << what;
      EXPECT_TRUE(encrypts({1, 0, 0, level, 0}, sample, kRKXVideo, 0)) << "no AVC: " << what;
    }
  }
}

TEST(QuerySample, LeavesConfigurationsInTheClear) {
  const RKXEncryptionOptions all{1, 1, 1, 2, 0};
  const std::tuple<const char*, const char*, std::uint32_t, std::uint32_t, bool> rows[] = {
      {"an AVC record", "01 42001e ff e1 0004 67420102 01 0003 68ce38", kRKXVideo, 1, false},
      {"one of a high profile", "01 64001e ff e1 0004 67640102 01 0003 68ce38 fd f8 f8 00", kRKXVideo, 1, false},
      {"one with something behind it", "01 42001e ff e1 0004 67420102 01 0003 68ce38 00", kRKXVideo, 1, true},
      {"one that is cut", "01 42001e ff e1 0004 67420102 01 0003 68ce", kRKXVideo, 1, true},
      {"one without its picture set", "01 42001e ff e1 0004 67420102 01", kRKXVideo, 1, true},
      {"one of other NAL units", "01 42001e ff e1 0004 65420102 01 0003 68ce38", kRKXVideo, 1, true},
      {"one without a sequence parameter set", "01 42001e ff e0 01 0003 68ce38", kRKXVideo, 1, true},
      {"the same in a stream that is no AVC", "01 42001e ff e1 0004 67420102 01 0003 68ce38", kRKXVideo, 0, true},
      {"an AAC configuration", "1210", kRKXAudio, 0, false},
      {"one with replication", "1210 56e500", kRKXAudio, 0, false},
      {"one with something else behind it", "1210 56a500", kRKXAudio, 0, true},
      {"a short frame", "01182007", kRKXAudio, 0, true},
      {"a frame of a fill element", "c1c0", kRKXAudio, 0, true},
      {"the end of a sequence", "", kRKXVideo, 1, false}};
  for (const auto& [what, sample, kind, avc, encrypted] : rows)
    EXPECT_EQ(encrypts(all, sample, kind, avc), encrypted) << what;
}

struct Issued {
  std::vector<std::byte> pem() const { return bytesOf(certificatePem(*certificate)); }
  std::vector<std::byte> credential(const std::string& password) const {
    return makeCredential(key.get(), certificate.get(), password);
  }

  CertificateUse use = CertificateUse::kSigning;
  int fromDays = -1, toDays = 9;
  KeyType type = KeyType::kEcP256;
  KeyPtr key = generateKey(type);
  CertificatePtr certificate = issueCertificate(*key, "someone", use, fromDays, toDays);
};
constexpr auto kWrapping = CertificateUse::kKeyWrapping;
constexpr auto kSigning = CertificateUse::kSigning;

/// A block of the content, signed by the credential.
std::vector<std::byte> signedBlock(const std::vector<std::byte>& content, const Issued& signer) {
  const CmsPtr structure(
      CMS_sign(signer.certificate.get(), signer.key.get(), nullptr, readingBio(content).get(), CMS_BINARY));
  std::vector<std::byte> der(static_cast<std::size_t>(i2d_CMS_ContentInfo(structure.get(), nullptr)));
  auto* at = raw(der.data());
  i2d_CMS_ContentInfo(structure.get(), &at);
  return der;
}

std::vector<std::byte> blockOf(const ProtectionSet& set) {
  std::vector<std::byte> block;
  EXPECT_EQ(makeMetadata(set, &block), kRKXOk);
  return block;
}

TEST(CreateMetadata, CanBeOpenedByTheLicenseServer) {
  for (const auto type : {KeyType::kRsa2048, KeyType::kEcP256}) {
    const ProtectionSet set(type);
    const auto verified = verifyMetadataBlock(blockOf(set));
    const auto& statement = verified.content.statement;
    EXPECT_EQ(statement.contentId, set.contentId);
    EXPECT_EQ(statement.licenseServerUrl, set.url);
    EXPECT_EQ(statement.policies, (std::vector<std::vector<std::byte>>{set.policy}));
    EXPECT_EQ(verified.signer, "CN=packager");
    EXPECT_EQ(verified.signerFingerprint, statement.signerDigest);
    const auto key = openContentKey(verified, *readPrivateKey(set.licenseServerKey));
    EXPECT_EQ(hex(key.bytes()), hex(set.key));
    EXPECT_EQ(ERR_peek_error(), 0U);
  }
}

// One row for each status number that an input can earn.
TEST(CreateMetadata, RefusesEachBadInputWithItsOwnNumber) {
  const ProtectionSet good;
  const auto expect = [&good]<typename Input>(const char* what, RKXStatus status, Input ProtectionSet::*member,
                                              std::type_identity_t<Input> input) {
    ProtectionSet set = good;
    std::swap(set.*member, input);
    std::vector<std::byte> block;
    EXPECT_EQ(makeMetadata(set, &block), status) << what;
    EXPECT_EQ(ERR_peek_error(), 0U) << what;
  };
  const auto url = &ProtectionSet::url, password = &ProtectionSet::password;
  expect("no URL", kRKXBadLicenseServerUrl, url, "");
  expect("another scheme", kRKXBadLicenseServerUrl, url, "ftp://license.example");
  expect("a blank", kRKXBadLicenseServerUrl, url, "https://license example");
  expect("no host", kRKXBadLicenseServerUrl, url, "https:///v2");
  expect("a wrong password", kRKXBadPassword, password, "close sesame");
  expect("an empty password", kRKXBadPassword, password, "");
  expect("a password with a zero in it", kRKXBadPassword, password, good.password + '\0');
  const auto policy = &ProtectionSet::policy;
  expect("an empty policy", kRKXBadPolicy, policy, {});
  expect("a policy too long", kRKXBadPolicy, policy, std::vector<std::byte>((1 << 20) + 1));
  expect("a policy of a mebibyte", kRKXOk, policy, std::vector<std::byte>(1 << 20));
  const auto transport = &ProtectionSet::transportCertificate;
  expect("an old certificate", kRKXCertificateExpired, transport, Issued{kWrapping, -9, -1}.pem());
  const auto server = &ProtectionSet::licenseServerCertificate;
  expect("no certificate", kRKXBadLicenseServerCertificate, server, good.credential);
  expect("may not wrap", kRKXBadLicenseServerCertificate, server, Issued{kSigning, -1, 9, KeyType::kRsa2048}.pem());
  expect("a certificate of tomorrow", kRKXCertificateExpired, server, Issued{kWrapping, 1, 9, KeyType::kRsa2048}.pem());
  const auto credential = &ProtectionSet::credential;
  const auto& word = good.password;
  expect("no credential", kRKXBadCredential, credential, good.transportCertificate);
  expect("a cut one", kRKXBadCredential, credential, {good.credential.begin(), good.credential.end() - 1});
  expect("no key", kRKXBadCredential, credential, makeCredential(nullptr, Issued{}.certificate.get(), word));
  expect("may not sign", kRKXBadCredential, credential, Issued{kWrapping}.credential(word));
  expect("an old credential", kRKXCertificateExpired, credential, Issued{kSigning, -9, -1}.credential(word));
}

std::string reasonOf(const std::vector<std::byte>& block, EVP_PKEY& key) {
  try {
    openContentKey(verifyMetadataBlock(block), key);
    return "opened";
  } catch (const UnprotectError& error) {
    return error.what();
  }
}

TEST(OpenMetadataBlock, SaysWhyNot) {
  const ProtectionSet set;
  const auto key = readPrivateKey(set.licenseServerKey);
  const auto block = blockOf(set);
  auto changed = block;
  const auto contentId = bytesOf(set.contentId);
  *std::search(changed.begin(), changed.end(), contentId.begin(), contentId.end()) = std::byte{'S'};
  auto longer = block;
  longer.push_back(std::byte{0});
  EXPECT_EQ(reasonOf(block, *key), "opened");
  EXPECT_EQ(reasonOf(longer, *key), "the metadata is no CMS signed-data");
  EXPECT_EQ(reasonOf(changed, *key), "the signature of the metadata does not match: it has been changed");
  for (const auto type : {KeyType::kRsa2048, KeyType::kEcP256})
    EXPECT_EQ(reasonOf(block, *generateKey(type)),
              "the key is not that of the license server the recording was made for");

  // What others signed: the same under another name, and the wrapped key with other words.
  auto content = verifyMetadataBlock(block).content;
  EXPECT_EQ(reasonOf(content.wrappedKey, *key), "the metadata is no CMS signed-data");
  const Issued other;
  const auto reasonOfForged = [&] {
    return reasonOf(signedBlock(writeMetadataContent(writeStatement(content.statement), content.wrappedKey), other),
                    *key);
  };
  EXPECT_EQ(reasonOfForged(), "the metadata names another certificate than the one that signed it");
  content.statement.signerDigest = sha256(derOf(*other.certificate));
  content.statement.policies = {bytesOf("play for ever")};
  EXPECT_EQ(reasonOfForged(), "the wrapped key was made for other metadata");
  EXPECT_THROW(verifyMetadataBlock(signedBlock(bytesOf("something"), other)), UnprotectError);
  EXPECT_EQ(ERR_peek_error(), 0U);
}

}  // namespace
