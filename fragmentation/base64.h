#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace ruvo::k2r {

/// Base64 by RFC 4648, section 4: the standard alphabet, padded with "=", without line breaks. 4 characters for each 3
/// bytes begun; of no bytes the empty text.
std::string base64Encode(std::span<const std::byte> data);

}  // namespace ruvo::k2r
