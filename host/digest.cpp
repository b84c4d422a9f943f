#include "host/digest.h"

#include <openssl/evp.h>

#include <array>

#include "host/errors.h"
#include "host/output.h"

namespace host {

std::string digestText(std::span<const std::byte> bytes, std::size_t shown) {
  std::array<std::byte, EVP_MAX_MD_SIZE> digest{};
  if (EVP_Digest(bytes.data(), bytes.size(), reinterpret_cast<unsigned char*>(digest.data()), nullptr, EVP_sha256(),
                 nullptr) != 1) {
    throw CommandError("no SHA-256 can be computed");
  }
  return hexText(std::span(digest).first(shown));
}

}  // namespace host
