#include "host/input/avcConfig.h"

#include <algorithm>

#include "util/RbspReader.h"
#include "util/bytes.h"

namespace host {
namespace {

using qvs::util::RbspReader;
using Sets = std::map<unsigned, std::vector<std::byte>>;

// Limits of the count fields of the record. Set numbers end there, too (ITU-T H.264, 7.4.2.1.1 and 7.4.2.2).
constexpr unsigned kMaxSequenceSets = 31;
constexpr unsigned kMaxPictureSets = 255;
/// NAL header byte, profile, compatibility and level.
constexpr std::size_t kMinSequenceSetSize = 4;
constexpr std::size_t kRecordHeaderSize = 5;

bool hasChromaFormat(unsigned profile) {
  constexpr unsigned kProfiles[] = {44, 83, 86, 100, 110, 118, 122, 128, 134, 135, 138, 139, 144, 244};
  return std::find(std::begin(kProfiles), std::end(kProfiles), profile) != std::end(kProfiles);
}

/// The fields of a sequence parameter set that the record repeats (ITU-T H.264, 7.3.2.1.1). The defaults, 4:2:0 in 8
/// bits, are used if the set is malformed.
struct PictureFormat {
  unsigned chromaFormat = 1;
  unsigned lumaBitsAbove8 = 0;
  unsigned chromaBitsAbove8 = 0;
};

PictureFormat readPictureFormat(NalUnit sequenceSet) {
  constexpr unsigned kSeparateColours = 3;
  RbspReader bits(sequenceSet.subspan(kMinSequenceSetSize));
  bits.unsignedGolomb();  // the set's number
  const auto chromaFormat = bits.unsignedGolomb();
  if (chromaFormat == kSeparateColours) bits.bit();
  const auto luma = bits.unsignedGolomb();
  const auto chroma = bits.unsignedGolomb();
  if (!chromaFormat || !luma || !chroma || *chromaFormat > 3 || *luma > 7 || *chroma > 7) return {};
  return {*chromaFormat, *luma, *chroma};
}

/// Adds a parameter set. Its number is read after `headerSize` bytes. Ignores one that the record has no room for.
void take(Sets& sets, NalUnit unit, std::size_t headerSize, unsigned maxCount) {
  if (unit.size() <= headerSize || unit.size() > 0xFFFF) return;
  const auto number = RbspReader(unit.subspan(headerSize)).unsignedGolomb();
  if (number && *number < maxCount) sets[*number].assign(unit.begin(), unit.end());
}

void writeSets(qvs::util::ByteWriter& out, const Sets& sets) {
  for (const auto& [number, set] : sets) {
    out.u16(static_cast<std::uint16_t>(set.size()));
    out.bytes(set);
  }
}

/// Reads one list of a record, which begins with its count. Throws MalformedInput if the record ends early.
std::vector<NalUnit> readSets(qvs::util::ByteReader& in, unsigned countMask) {
  std::vector<NalUnit> units;
  for (unsigned count = in.u8() & countMask; count > 0; --count) {
    const NalUnit unit = in.bytes(in.u16());
    if (!unit.empty()) units.push_back(unit);
  }
  return units;
}

}  // namespace

ParameterSets::ParameterSets(std::span<const std::byte> record) {
  if (record.size() < kRecordHeaderSize) return;
  qvs::util::ByteReader in(record.subspan(kRecordHeaderSize));
  try {
    collect(readSets(in, kMaxSequenceSets));
    collect(readSets(in, kMaxPictureSets));
  } catch (const qvs::util::MalformedInput&) {
    // The sets read before the fault are kept, as a decoder would do.
  }
}

void ParameterSets::collect(std::span<const NalUnit> units) {
  for (const NalUnit unit : units) {
    if (nalType(unit) == NalType::kSequenceParameterSet) {
      take(sequence_, unit, kMinSequenceSetSize, kMaxSequenceSets);
    } else if (nalType(unit) == NalType::kPictureParameterSet) {
      take(picture_, unit, 1, kMaxPictureSets);
    }
  }
}

std::vector<NalUnit> ParameterSets::units() const {
  std::vector<NalUnit> units;
  for (const Sets* const sets : {&sequence_, &picture_}) {
    for (const auto& [number, set] : *sets) units.emplace_back(set);
  }
  return units;
}

std::vector<std::byte> ParameterSets::configurationRecord(std::size_t lengthSize) const {
  const auto& first = sequence_.begin()->second;
  qvs::util::ByteWriter out;
  out.u8(1);
  out.bytes(std::span(first).subspan(1, 3));
  out.u8(static_cast<std::uint8_t>(0xFC | (lengthSize - 1)));
  out.u8(static_cast<std::uint8_t>(0xE0 | sequence_.size()));
  writeSets(out, sequence_);
  out.u8(static_cast<std::uint8_t>(picture_.size()));
  writeSets(out, picture_);
  if (hasChromaFormat(std::to_integer<unsigned>(first[1]))) {
    const PictureFormat format = readPictureFormat(first);
    out.u8(static_cast<std::uint8_t>(0xFC | format.chromaFormat));
    out.u8(static_cast<std::uint8_t>(0xF8 | format.lumaBitsAbove8));
    out.u8(static_cast<std::uint8_t>(0xF8 | format.chromaBitsAbove8));
    out.u8(0);
  }
  return out.take();
}

bool isConfigurationRecord(std::span<const std::byte> extradata) {
  constexpr std::size_t kMinSize = 7;
  return extradata.size() >= kMinSize && extradata[0] == std::byte{1};
}

std::size_t nalLengthSize(std::span<const std::byte> record) {
  constexpr std::size_t kDefault = 4;
  return record.size() < kRecordHeaderSize ? kDefault : 1 + std::to_integer<std::size_t>(record[4] & std::byte{3});
}

}  // namespace host
