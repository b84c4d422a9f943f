#pragma once

#include <cstdint>

namespace krvo::container {

/// Of a box that a reader takes into memory whole, which is any but `mdat`: far above what a recording makes, so that a
/// damaged size field costs no more than this. The writer keeps to it, too.
inline constexpr std::uint64_t kMaxLoadedBox = std::uint64_t{256} << 20;

}  // namespace krvo::container
