#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/encryption/krvo_rkx.h"

namespace test {

/// The encryption library by rules of its own, for what the real one never returns. Linked in its place; one for the
/// program, made anew for each test.
///
/// A cipher text is the sample with every bit turned, filled up to whole blocks of 16 as PKCS #7 does; the vector of
/// the n-th sample is 16 bytes of n. The metadata block is what `metadata` says.
struct FakeLibrary {
  FakeLibrary();
  ~FakeLibrary();
  FakeLibrary(const FakeLibrary&) = delete;
  FakeLibrary& operator=(const FakeLibrary&) = delete;

  /// Every call that came, with its arguments, in order.
  std::vector<std::string> calls;
  /// The statuses of calls by name; 0 for the others.
  std::map<std::string, RKXStatus> statuses;
  /// Objects that were not given back.
  int objects = 0;

  bool noTable = false;
  std::uint64_t encryptorWords = 5;
  std::uint64_t metadataWords = 5;
  std::string metadata = "block";
  std::string filterName = "F";
  /// Bits of the kinds that are encrypted.
  std::uint32_t encryptedKinds = kRKXVideo | kRKXAudio | kRKXScriptData;
  /// Bytes that encryptSample writes less than the query said.
  std::uint32_t missing = 0;
  std::uint8_t samples = 0;
};

}  // namespace test
