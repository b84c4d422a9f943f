#include "util/RbspReader.h"

namespace qvs::util {
namespace {

constexpr std::byte kEmulationPrevention{3};
constexpr unsigned kMostLeadingZeros = 31;

}  // namespace

std::optional<std::uint32_t> RbspReader::byte() {
  if (zeros_ >= 2 && !rest_.empty() && rest_.front() == kEmulationPrevention) {
    rest_ = rest_.subspan(1);
    zeros_ = 0;
  }
  if (rest_.empty()) return std::nullopt;
  const auto value = std::to_integer<std::uint32_t>(rest_.front());
  rest_ = rest_.subspan(1);
  zeros_ = value == 0 ? zeros_ + 1 : 0;
  return value;
}

std::optional<std::uint32_t> RbspReader::bit() {
  if (bitsLeft_ == 0) {
    const auto next = byte();
    if (!next) return std::nullopt;
    current_ = *next;
    bitsLeft_ = 8;
  }
  --bitsLeft_;
  return current_ >> bitsLeft_ & 1;
}

std::optional<std::uint32_t> RbspReader::unsignedGolomb() {
  unsigned leadingZeros = 0;
  for (auto next = bit(); next != 1; next = bit()) {
    if (!next || ++leadingZeros > kMostLeadingZeros) return std::nullopt;
  }
  std::uint32_t value = 1;
  for (unsigned i = 0; i < leadingZeros; ++i) {
    const auto next = bit();
    if (!next) return std::nullopt;
    value = value << 1 | *next;
  }
  return value - 1;
}

}  // namespace qvs::util
