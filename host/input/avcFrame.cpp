#include "host/input/avcFrame.h"

#include <algorithm>

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

}  // namespace

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
