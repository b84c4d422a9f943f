#pragma once

#include <map>
#include <string>
#include <vector>

#include "platform/encryption/unprotect.h"
#include "tests/module/loadModule.h"
#include "tests/support/ProtectionSet.h"
#include "tests/support/Recorder.h"
#include "util/box.h"
#include "util/tagHeader.h"

namespace test {

/// The keys and certificates of this program's protected recordings; they take a while to make.
inline const ProtectionSet& protectionSet() {
  static const ProtectionSet set(krvo::encryption::KeyType::kEcP256);
  return set;
}

inline std::string textOf(std::span<const std::byte> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// A recorder with the settings of a protected recording and, in a directory of its own, the files that they name.
struct ProtectedRecorder : Recorder {
  ProtectedRecorder() : Recorder(loadModule()) {
    const ProtectionSet& set = protectionSet();
    host.settings["Recording/IsProtected"] = "true";
    setting("ContentID") = set.contentId;
    setting("LicenseServerURL") = set.url;
    setting("PackagerCredentialPwd") = set.password;
    addFile("CommonKeyPath", set.key);
    addFile("TransportCertPath", set.transportCertificate);
    addFile("LicenseServerCertPath", set.licenseServerCertificate);
    addFile("PackagerCredentialPath", set.credential);
    addFile("PolicyPath", set.policy);
  }

  std::string& setting(const std::string& key) { return host.settings["Recording/VantryV2/" + key]; }
  void addFile(const std::string& key, std::span<const std::byte> content) {
    writeWholeFile(keys.path() / key, textOf(content));
    setting(key) = keys.file(key);
  }
  /// Content of every file of the recording.
  std::map<std::string, std::string> snapshot() const {
    std::map<std::string, std::string> all;
    for (const auto& entry : std::filesystem::directory_iterator(directory())) {
      all[entry.path().filename().string()] = readWholeFile(entry.path());
    }
    return all;
  }

  TempDirectory keys;
};

/// The tags of a segment file in order, whole.
inline std::vector<std::string> tagsOf(const std::string& segment) {
  std::vector<std::string> tags;
  qvs::util::ByteReader in(qvs::util::asBytes(segment));
  while (in.remaining() > 0) {
    qvs::util::BoxView box = qvs::util::nextBox(in);
    if (box.type != qvs::util::operator""_4cc("mdat", 4)) continue;
    while (box.payload.remaining() > 0) {
      const auto header = qvs::util::ByteReader(box.payload).bytes(qvs::util::kTagHeaderSize);
      tags.push_back(textOf(box.payload.bytes(qvs::util::tagDataSize(header.data()) + qvs::util::kTagOverhead)));
    }
  }
  return tags;
}

/// A protected tag as it was in the clear; `clearBytes` of its data stand in front of the protection. Any other tag as
/// it is.
inline std::string unprotectedTag(const std::string& tag, std::span<const std::byte> key, std::size_t clearBytes) {
  const auto bytes = qvs::util::asBytes(tag);
  const auto type = qvs::util::tagRawType(bytes.data());
  if ((type & qvs::util::kTagProtectedBit) == 0) return tag;
  qvs::util::ByteReader in(bytes.subspan(qvs::util::kTagHeaderSize, qvs::util::tagDataSize(bytes.data())));
  std::string data = textOf(in.bytes(clearBytes));
  in.skip(1);
  while (in.u8() != 0) {
  }
  const std::uint32_t parameters = in.u24();
  const bool encrypted = in.u8() == 0x80;
  const auto vector = in.bytes(parameters - 1);
  const auto payload = in.bytes(in.remaining());
  if (encrypted) {
    const auto sample = krvo::encryption::SampleDecipher(key).decrypt(payload, vector);
    if (!sample) return "not to be decrypted";
    data += textOf(*sample);
  } else {
    data += textOf(payload);
  }
  std::string clear(data.size() + qvs::util::kTagOverhead, '\0');
  auto* const out = reinterpret_cast<std::byte*>(clear.data());
  const auto size = static_cast<std::uint32_t>(data.size());
  qvs::util::writeTagHeader(out, type & qvs::util::kTagTypeMask, size, qvs::util::tagTimestamp(bytes.data()));
  data.copy(clear.data() + qvs::util::kTagHeaderSize, data.size());
  qvs::util::writeTagBackPointer(out + qvs::util::kTagHeaderSize + size, size);
  return clear;
}

}  // namespace test
