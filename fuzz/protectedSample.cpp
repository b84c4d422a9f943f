// Which samples are encrypted, and what is decrypted. The first byte chooses the kind, the rest is the sample.

#include <array>
#include <vector>

#include "fuzz/fuzzing.h"
#include "platform/encryption/EncryptionChoice.h"
#include "platform/encryption/krvo_unprotect.h"

using namespace krvo::encryption;

void fuzz::target(Bytes input) {
  if (input.empty()) return;
  const auto chosen = std::to_integer<unsigned>(input[0]);
  const RKXSampleKind kind = std::to_array({kRKXVideo, kRKXVideo, kRKXAudio, kRKXScriptData})[chosen & 3];
  const auto sample = input.subspan(1);
  bool before = false;
  for (const std::uint32_t level : {0U, 1U, 2U}) {
    const bool avc = (chosen & 1) != 0;
    const bool encrypts = EncryptionChoice({1, 1, 1, level, 0}).encrypts(sample, kind, avc);
    require(encrypts || !before, "a higher level encrypts no less");
    require(!EncryptionChoice({0, 0, 0, level, 0}).encrypts(sample, kind, avc), "nothing is encrypted unasked");
    before = encrypts;
  }

  static const Secret key(kKeySize);
  static SampleDecipher decipher(key.bytes());
  static const std::vector<std::byte> vector(16);
  if (const auto other = decipher.decrypt(sample, vector)) require(other->size() < sample.size(), "padding has bytes");
}
