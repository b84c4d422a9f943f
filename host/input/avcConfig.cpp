#include "host/input/avcConfig.h"

#include <algorithm>
#include <optional>

#include "util/bytes.h"

namespace host {
namespace {

using Sets = std::vector<std::vector<std::byte>>;

constexpr std::size_t kMaxSequenceSets = 31;
constexpr std::size_t kMaxPictureSets = 255;
/// Header byte, profile, compatibility and level.
constexpr std::size_t kMinSequenceSetSize = 4;

bool addOnce(Sets& sets, NalUnit unit, std::size_t maxCount) {
  const auto same = [&](const auto& set) { return std::equal(set.begin(), set.end(), unit.begin(), unit.end()); };
  if (unit.size() > 0xFFFF || sets.size() >= maxCount || std::any_of(sets.begin(), sets.end(), same)) return false;
  sets.emplace_back(unit.begin(), unit.end());
  return true;
}

/// Bits of a NAL unit, most significant first, without its emulation prevention bytes (ITU-T H.264, 7.4.1). Behind the
/// end come zeros.
class NalBits {
 public:
  explicit NalBits(NalUnit unit) {
    int zeros = 0;
    for (const std::byte value : unit) {
      if (zeros >= 2 && value == std::byte{3}) {
        zeros = 0;
        continue;
      }
      zeros = value == std::byte{0} ? zeros + 1 : 0;
      bytes_.push_back(std::to_integer<unsigned>(value));
    }
  }

  unsigned bit() {
    if (position_ >= 8 * bytes_.size()) return 0;
    const unsigned value = bytes_[position_ / 8] >> (7 - position_ % 8) & 1;
    ++position_;
    return value;
  }
  unsigned bits(int count) {
    unsigned value = 0;
    while (count-- > 0) value = value << 1 | bit();
    return value;
  }
  /// ue(v) (ITU-T H.264, 9.1); nothing for a code of more than 32 bits, which no field here needs.
  std::optional<unsigned> exponentialGolomb() {
    int zeros = 0;
    while (bit() == 0) {
      if (++zeros > 15) return std::nullopt;
    }
    return (1U << zeros) - 1 + bits(zeros);
  }

 private:
  std::vector<unsigned> bytes_;
  std::size_t position_ = 0;
};

bool hasChromaFormat(unsigned profile) {
  constexpr unsigned kProfiles[] = {44, 83, 86, 100, 110, 118, 122, 128, 134, 135, 138, 139, 144, 244};
  return std::find(std::begin(kProfiles), std::end(kProfiles), profile) != std::end(kProfiles);
}

/// What the record repeats of a sequence parameter set (ITU-T H.264, 7.3.2.1.1); 4:2:0 in 8 bits where it is malformed.
struct PictureFormat {
  unsigned chromaFormat = 1;
  unsigned lumaBitsAbove8 = 0;
  unsigned chromaBitsAbove8 = 0;
};

PictureFormat readPictureFormat(NalUnit sequenceSet) {
  constexpr unsigned kSeparateColours = 3;
  NalBits bits(sequenceSet.subspan(kMinSequenceSetSize));
  bits.exponentialGolomb();  // The set's number.
  const auto chromaFormat = bits.exponentialGolomb();
  if (chromaFormat == kSeparateColours) bits.bit();
  const auto luma = bits.exponentialGolomb();
  const auto chroma = bits.exponentialGolomb();
  if (!chromaFormat || !luma || !chroma || *chromaFormat > 3 || *luma > 7 || *chroma > 7) return {};
  return {*chromaFormat, *luma, *chroma};
}

void writeSets(qvs::util::ByteWriter& out, const Sets& sets) {
  for (const auto& set : sets) {
    out.u16(static_cast<std::uint16_t>(set.size()));
    out.bytes(set);
  }
}

}  // namespace

bool ParameterSets::collect(std::span<const NalUnit> units) {
  bool added = false;
  for (const NalUnit unit : units) {
    if (nalType(unit) == NalType::kSequenceParameterSet && unit.size() >= kMinSequenceSetSize) {
      added |= addOnce(sequence_, unit, kMaxSequenceSets);
    } else if (nalType(unit) == NalType::kPictureParameterSet) {
      added |= addOnce(picture_, unit, kMaxPictureSets);
    }
  }
  return added;
}

std::vector<std::byte> ParameterSets::configurationRecord() const {
  const auto& first = sequence_.front();
  qvs::util::ByteWriter out;
  out.u8(1);
  out.bytes(std::span(first).subspan(1, 3));
  out.u8(0xFF);
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

}  // namespace host
