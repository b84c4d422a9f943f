#include "packaging/HintDescription.h"

#include "util/box.h"
#include "util/narrow.h"

namespace ruvo::k2rpkgutil {
namespace {

using namespace qvs::util;

std::uint8_t flagBits(const HintDescriptionEntry& entry) {
  std::uint8_t bits = 0;
  std::uint8_t bit = 0x80;
  for (const std::uint8_t flag : entry.flags) {
    if (flag > 0) bits = bits | bit;
    bit = static_cast<std::uint8_t>(bit >> 1);
  }
  return bits;
}

}  // namespace

void writeHintDescription(ByteWriter& out, std::span<const HintDescriptionEntry> entries,
                          std::optional<std::uint32_t> timeOffset) {
  // The inner scope ends the `amhp` box here, because its size must not count the `amto` that follows.
  {
    const BoxScope box(out, "amhp"_4cc, 0, 0);
    out.u8(narrow<std::uint8_t>(entries.size()));
    for (const auto& entry : entries) {
      out.u8(entry.first);
      out.u8(flagBits(entry));
      out.u8(entry.last);
    }
  }
  if (!timeOffset) return;
  const BoxScope box(out, "amto"_4cc);
  out.u32(*timeOffset);
}

}  // namespace ruvo::k2rpkgutil
