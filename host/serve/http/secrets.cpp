#include "host/serve/http/secrets.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <array>
#include <span>
#include <stdexcept>

#include "host/output.h"
#include "util/narrow.h"

namespace host::serve {
namespace {

constexpr std::size_t kDigestSize = 32;
using Digest = std::array<unsigned char, kDigestSize>;

Digest sha256(std::string_view bytes) {
  Digest digest{};
  if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), nullptr, EVP_sha256(), nullptr) != 1) {
    throw std::runtime_error("SHA-256 failed");
  }
  return digest;
}

}  // namespace

std::string sha256Hex(std::string_view bytes) {
  const Digest digest = sha256(bytes);
  return hexText(std::as_bytes(std::span(digest)));
}

std::string hmacHex(std::string_view key, std::string_view bytes) {
  Digest digest{};
  const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
  const auto keySize = qvs::util::narrow<int>(key.size());
  if (HMAC(EVP_sha256(), key.data(), keySize, data, bytes.size(), digest.data(), nullptr) == nullptr) {
    throw std::runtime_error("HMAC failed");
  }
  return hexText(std::as_bytes(std::span(digest)));
}

bool isSameSecret(std::string_view presented, std::string_view secret) {
  // Digests have one length, and what differs in them says nothing about what differs in the texts.
  return CRYPTO_memcmp(sha256(presented).data(), sha256(secret).data(), kDigestSize) == 0;
}

}  // namespace host::serve
