#include "host/input/avcFrame.h"

#include <algorithm>

#include "util/RbspReader.h"
#include "util/bytes.h"

namespace host {
namespace {

using Bytes = std::span<const std::byte>;

void writeUnit(qvs::util::ByteWriter& out, NalUnit unit, std::size_t lengthSize) {
  std::byte length[sizeof(std::uint32_t)];
  qvs::util::storeBigEndian(length, lengthSize, unit.size());
  out.bytes(Bytes(length).first(lengthSize));
  out.bytes(unit);
}

bool contains(std::span<const NalUnit> units, NalUnit wanted) {
  return std::any_of(units.begin(), units.end(), [&](NalUnit unit) { return std::ranges::equal(unit, wanted); });
}

/// A type or size of a message of supplemental information: bytes that are added up, all but the last of them 255
/// (ITU-T H.264, 7.3.2.3.1).
std::optional<std::uint32_t> sumOfBytes(qvs::util::RbspReader& bits) {
  std::uint32_t sum = 0;
  for (auto next = bits.byte(); next; next = bits.byte()) {
    sum += *next;
    if (*next != 255) return sum;
  }
  return std::nullopt;
}

/// Whether a unit of supplemental information has a recovery point. One that breaks off is none.
bool hasRecoveryPoint(NalUnit unit) {
  constexpr std::uint32_t kRecoveryPoint = 6;
  constexpr std::uint32_t kMostFrames = 0xFFFF;
  qvs::util::RbspReader bits(unit.subspan(1));
  while (true) {
    const auto type = sumOfBytes(bits);
    const auto size = sumOfBytes(bits);
    if (!type || !size) return false;
    qvs::util::RbspReader content = bits;
    for (std::uint32_t i = 0; i < *size; ++i) {
      if (!bits.byte()) return false;
    }
    if (*type == kRecoveryPoint) return content.unsignedGolomb().value_or(kMostFrames + 1) <= kMostFrames;
  }
}

}  // namespace

std::optional<bool> isKeyPicture(Bytes frame, std::size_t lengthSize) {
  bool canRecover = false;
  while (frame.size() > lengthSize) {
    const std::uint64_t size = qvs::util::loadBigEndian(frame.data(), lengthSize);
    frame = frame.subspan(lengthSize);
    if (size == 0 || size > frame.size()) return std::nullopt;
    const NalUnit unit = frame.first(size);
    switch (nalType(unit)) {
      case NalType::kIdrSlice:
        return true;
      case NalType::kSlice:
        return canRecover;
      case NalType::kEnhancement:
        canRecover = canRecover || hasRecoveryPoint(unit);
        break;
      default:
        break;
    }
    frame = frame.subspan(size);
  }
  return std::nullopt;
}

std::optional<std::vector<NalUnit>> nalUnits(Bytes frame, std::size_t lengthSize) {
  std::vector<NalUnit> units;
  while (!frame.empty()) {
    if (frame.size() < lengthSize) return std::nullopt;
    const std::uint64_t size = qvs::util::loadBigEndian(frame.data(), lengthSize);
    frame = frame.subspan(lengthSize);
    if (size > frame.size()) return std::nullopt;
    if (size > 0) units.push_back(frame.first(size));
    frame = frame.subspan(size);
  }
  return units;
}

std::vector<NalUnit> missingSets(std::span<const NalUnit> units, const ParameterSets& wanted) {
  auto sets = wanted.units();
  const bool complete = std::ranges::all_of(sets, [&](NalUnit set) { return contains(units, set); });
  return complete ? std::vector<NalUnit>() : sets;
}

std::vector<std::byte> avcFrameWith(std::span<const NalUnit> sets, std::span<const NalUnit> units, Bytes header,
                                    std::size_t lengthSize) {
  qvs::util::ByteWriter out;
  out.bytes(header);
  auto unit = units.begin();
  // An access unit delimiter must stay the first NAL unit (ITU-T H.264, 7.4.1.2.3).
  while (unit != units.end() && nalType(*unit) == NalType::kAccessUnitDelimiter) writeUnit(out, *unit++, lengthSize);
  for (const NalUnit set : sets) writeUnit(out, set, lengthSize);
  for (; unit != units.end(); ++unit) writeUnit(out, *unit, lengthSize);
  return out.take();
}

}  // namespace host
