#pragma once

#include <cstdint>

#include "util/truncation.h"

namespace ruvo::k2r {

/// The low 32 bits of `value`, truncated toward zero to a signed 64-bit integer. A value beyond that type counts as the
/// nearest that it has, so that a huge one becomes 0xFFFFFFFF; not-a-number gives 0. Casting a double that does not fit
/// would be undefined, and settings and script data can contain any.
constexpr std::uint32_t truncateTo32Bits(double value) {
  return static_cast<std::uint32_t>(qvs::util::truncateToInt64(value));
}

}  // namespace ruvo::k2r
