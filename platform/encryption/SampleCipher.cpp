#include "platform/encryption/SampleCipher.h"

#include <openssl/rand.h>

#include "platform/encryption/status.h"
#include "util/narrow.h"

namespace krvo::encryption {

SampleCipher::SampleCipher(std::span<const std::byte> key) : context_(EVP_CIPHER_CTX_new()) {
  require(context_ != nullptr, kRKXOutOfMemory);
  require(key.size() == kKeySize, kRKXBadKeyLength);
  requireOpenssl(EVP_EncryptInit_ex2(context_.get(), EVP_aes_128_cbc(), raw(key.data()), nullptr, nullptr) == 1);
}

SampleCipher::Vector SampleCipher::encrypt(std::span<const std::byte> sample, std::byte* destination) {
  const Vector vector = drawVector();
  // Null for cipher and key keeps the key schedule; only the vector is new.
  requireOpenssl(EVP_EncryptInit_ex2(context_.get(), nullptr, nullptr, raw(vector.data()), nullptr) == 1);
  int written = 0;
  // An empty sample may have a null pointer, which OpenSSL takes for another kind of call.
  if (!sample.empty()) {
    requireOpenssl(EVP_EncryptUpdate(context_.get(), raw(destination), &written, raw(sample.data()),
                                     qvs::util::narrow<int>(sample.size())) == 1);
  }
  int padded = 0;
  requireOpenssl(EVP_EncryptFinal_ex(context_.get(), raw(destination + written), &padded) == 1);
  return vector;
}

SampleCipher::Vector SampleCipher::drawVector() {
  if (nextVector_ == kVectorsPerDraw) {
    requireOpenssl(RAND_bytes(raw(drawn_.front().data()), sizeof drawn_) == 1);
    // Only after the draw: if it throws, the next call draws again and no used vector comes a second time.
    nextVector_ = 0;
  }
  return drawn_[nextVector_++];
}

}  // namespace krvo::encryption
