#include "platform/encryption/MetadataContent.h"

#include <algorithm>

#include "platform/encryption/SampleCipher.h"
#include "platform/encryption/der.h"

namespace krvo::encryption {
namespace {

using qvs::util::ByteReader;
using qvs::util::ByteWriter;
using qvs::util::MalformedInput;

constexpr std::byte kVersion{1};

std::vector<std::byte> copied(std::span<const std::byte> bytes) {
  return {bytes.begin(), bytes.end()};
}

std::string textOf(std::span<const std::byte> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

void requireEnd(const ByteReader& in) {
  if (in.remaining() != 0) throw MalformedInput("DER: more values than expected");
}

Digest readDigest(ByteReader& in) {
  const auto bytes = readDer(in, DerTag::kOctetString);
  Digest digest{};
  if (bytes.size() != digest.size()) throw MalformedInput("a digest that is not 32 bytes long");
  std::copy(bytes.begin(), bytes.end(), digest.begin());
  return digest;
}

std::vector<std::vector<std::byte>> readPolicies(ByteReader& in) {
  ByteReader list(readDer(in, DerTag::kSequence));
  std::vector<std::vector<std::byte>> policies;
  while (list.remaining() > 0) policies.push_back(copied(readDer(list, DerTag::kOctetString)));
  return policies;
}

}  // namespace

std::vector<std::byte> writeStatement(const MetadataStatement& statement) {
  ByteWriter policies;
  for (const auto& policy : statement.policies) writeDer(policies, DerTag::kOctetString, policy);

  ByteWriter out;
  writeDer(out, DerTag::kInteger, std::span(&kVersion, 1));
  writeDer(out, DerTag::kOctetString, qvs::util::asBytes(statement.contentId));
  writeDer(out, DerTag::kIa5String, qvs::util::asBytes(statement.licenseServerUrl));
  writeDer(out, DerTag::kSequence, policies.bytes());
  out.bytes(statement.transportCertificate);
  writeDer(out, DerTag::kOctetString, statement.signerDigest);
  return out.take();
}

std::vector<std::byte> writeMetadataContent(std::span<const std::byte> statement,
                                            std::span<const std::byte> wrappedKey) {
  ByteWriter values;
  values.bytes(statement);
  values.bytes(wrappedKey);
  ByteWriter out;
  writeDer(out, DerTag::kSequence, values.bytes());
  return out.take();
}

Secret writeContentKey(std::span<const std::byte> key, const Digest& statementDigest) {
  // Enough that neither writer grows: a growing writer would leave a copy of the key in memory that is not wiped.
  constexpr std::size_t kEnough = 128;
  ByteWriter values;
  values.reserve(kEnough);
  writeDer(values, DerTag::kOctetString, key);
  writeDer(values, DerTag::kOctetString, statementDigest);
  const Secret inner(values.take());
  ByteWriter out;
  out.reserve(kEnough);
  writeDer(out, DerTag::kSequence, inner.bytes());
  return Secret(out.take());
}

MetadataContent readMetadataContent(std::span<const std::byte> content) {
  ByteReader whole(content);
  const auto values = readDer(whole, DerTag::kSequence);
  requireEnd(whole);

  ByteReader in(values);
  MetadataContent read;
  const auto version = readDer(in, DerTag::kInteger);
  if (version.size() != 1 || version.front() != kVersion) throw MalformedInput("metadata of an unknown version");
  read.statement.contentId = textOf(readDer(in, DerTag::kOctetString));
  read.statement.licenseServerUrl = textOf(readDer(in, DerTag::kIa5String));
  read.statement.policies = readPolicies(in);
  read.statement.transportCertificate = copied(readWholeDer(in, values, DerTag::kSequence));
  read.statement.signerDigest = readDigest(in);
  // Of the bytes as they were signed: written anew, the same statement could have other bytes.
  read.statementDigest = sha256(values.first(in.position()));
  read.wrappedKey = copied(readWholeDer(in, values, DerTag::kSequence));
  requireEnd(in);
  return read;
}

ContentKey readContentKey(std::span<const std::byte> content) {
  ByteReader whole(content);
  ByteReader in(readDer(whole, DerTag::kSequence));
  requireEnd(whole);
  ContentKey read;
  read.key = Secret(readDer(in, DerTag::kOctetString));  // copied once, straight into protected memory
  if (read.key.size() != kKeySize) throw MalformedInput("a content key that is not 16 bytes long");
  read.statementDigest = readDigest(in);
  requireEnd(in);
  return read;
}

}  // namespace krvo::encryption
