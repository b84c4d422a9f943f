#pragma once

#include <cstdint>

#include "util/truncation.h"

namespace ruvo::k2r {

/// The low 32 bits of `value`, truncated toward zero to a signed 64-bit integer. What that type cannot hold counts as
/// its nearest value, so that huge becomes 0xFFFFFFFF; not-a-number gives 0.
constexpr std::uint32_t truncateTo32Bits(double value) {
  return static_cast<std::uint32_t>(qvs::util::truncateToInt64(value));
}

}  // namespace ruvo::k2r
