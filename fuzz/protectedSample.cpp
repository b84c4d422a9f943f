// Which samples are encrypted, and the way there and back. The first byte chooses kind and level, the rest is the
// sample.

#include <algorithm>
#include <vector>

#include "fuzz/fuzzing.h"
#include "platform/encryption/EncryptionChoice.h"
#include "platform/encryption/unprotect.h"

namespace {

using namespace krvo::encryption;
using fuzz::require;

void choose(std::span<const std::byte> sample, RKXSampleKind kind, bool avc) {
  bool before = false;
  for (const std::uint32_t level : {0U, 1U, 2U}) {
    const bool encrypts = EncryptionChoice({1, 1, 1, level, 0}).encrypts(sample, kind, avc);
    require(encrypts || !before, "a higher level encrypts no less");
    require(!EncryptionChoice({0, 0, 0, level, 0}).encrypts(sample, kind, avc), "nothing is encrypted unasked");
    before = encrypts;
  }
}

void encryptAndDecrypt(std::span<const std::byte> sample) {
  static const Secret key(kKeySize);
  static SampleCipher cipher(key.bytes());
  static SampleDecipher decipher(key.bytes());
  std::vector<std::byte> cipherText(encryptedSize(sample.size()));
  const auto vector = cipher.encrypt(sample, cipherText.data());
  const auto clear = decipher.decrypt(cipherText, vector);
  require(clear && std::ranges::equal(*clear, sample), "a sample comes back");
  if (const auto other = decipher.decrypt(sample, vector)) require(other->size() < sample.size(), "padding has bytes");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr RKXSampleKind kKinds[] = {kRKXVideo, kRKXVideo, kRKXAudio, kRKXScriptData};
  if (size == 0) return 0;
  const auto sample = std::as_bytes(std::span(data, size).subspan(1));
  choose(sample, kKinds[data[0] & 3], (data[0] & 1) != 0);
  encryptAndDecrypt(sample);
  return 0;
}
