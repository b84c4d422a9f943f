#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace ruvo::k2r {

/// RFC 4648, 4: the standard alphabet, padded with "=", in one line.
std::string base64Encode(std::span<const std::byte> data);

}  // namespace ruvo::k2r
