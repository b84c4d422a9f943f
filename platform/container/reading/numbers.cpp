#include "platform/container/reading/numbers.h"

#include <stdexcept>

#include "util/narrow.h"

namespace krvo::container {

std::uint64_t rescale(std::uint64_t value, std::uint32_t from, std::uint32_t to) {
  if (from == to) return value;
  // Whole seconds and the rest are converted separately, so that no product of the rest exceeds 64 bits.
  const std::uint64_t seconds = value / from;
  const std::uint64_t rest = (value % from * to + from / 2) / from;
  if (seconds > (std::numeric_limits<std::uint64_t>::max() - rest) / to) {
    throw std::out_of_range("a time does not fit its field");
  }
  return seconds * to + rest;
}

std::int32_t rescale(std::int32_t value, std::uint32_t from, std::uint32_t to) {
  const auto distance = static_cast<std::int64_t>(
      rescale(static_cast<std::uint64_t>(std::abs(static_cast<std::int64_t>(value))), from, to));
  return qvs::util::narrow<std::int32_t>(value < 0 ? -distance : distance);
}

}  // namespace krvo::container
