#include "fragmentation/base64.h"

#include <openssl/evp.h>

#include "util/narrow.h"

namespace ruvo::k2r {

std::string base64Encode(std::span<const std::byte> data) {
  // OpenSSL writes four characters for each group of three bytes, and a zero after the last one.
  std::string text((data.size() + 2) / 3 * 4 + 1, '\0');
  const int length =
      EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                      reinterpret_cast<const unsigned char*>(data.data()), qvs::util::narrow<int>(data.size()));
  text.resize(static_cast<std::size_t>(length));
  return text;
}

}  // namespace ruvo::k2r
