#include "platform/encryption/avcSample.h"

#include <optional>

#include "util/RbspReader.h"
#include "util/bytes.h"

namespace krvo::encryption {
namespace {

using qvs::util::ByteReader;
using qvs::util::RbspReader;

// NAL unit types (ISO/IEC 14496-10, table 7-1).
enum NalType : unsigned {
  kSlice = 1,
  kPartitionA = 2,
  kPartitionB = 3,
  kPartitionC = 4,
  kIdrSlice = 5,
  kSupplemental = 6,
  kSequenceParameters = 7,
  kPictureParameters = 8,
  kDelimiter = 9,
  kEndOfSequence = 10,
  kEndOfStream = 11,
  kFiller = 12,
  kSequenceExtension = 13,
};

constexpr std::uint32_t kRecoveryPoint = 6;

/// What has been found in the NAL units of a sample so far.
struct Picture {
  bool idr = false;
  bool recoveryPoint = false;
  bool reference = false;
  bool predicted = false;
  bool intra = false;
};

unsigned nalType(std::byte header) {
  return std::to_integer<unsigned>(header) & 0x1F;
}

/// Whether the slice is an I or SI slice (7.3.3, table 7-6).
std::optional<bool> isIntraSlice(std::span<const std::byte> payload) {
  RbspReader in(payload);
  // Not used, but it has to be read to reach the type.
  const auto firstMacroblock = in.unsignedGolomb();
  const auto sliceType = in.unsignedGolomb();
  if (!firstMacroblock || !sliceType || *sliceType > 9) return std::nullopt;
  const auto type = *sliceType % 5;  // 5 to 9 say that all slices of the picture have this type
  return type == 2 || type == 4;
}

/// A number as in 7.3.2.3.1: a byte of 255 is added and another one follows. Cannot overflow: a sample is too short.
std::optional<std::uint32_t> extendedNumber(RbspReader& in) {
  std::uint32_t value = 0;
  for (;;) {
    const auto next = in.byte();
    if (!next) return std::nullopt;
    value += *next;
    if (*next != 0xFF) return value;
  }
}

/// Whether one of the messages is a recovery point; nothing if the messages do not end where the unit does.
std::optional<bool> marksRecoveryPoint(std::span<const std::byte> payload) {
  constexpr std::uint32_t kTrailingBits = 0x80;
  RbspReader in(payload);
  for (auto first = true; !in.atEnd(); first = false) {
    const auto type = extendedNumber(in);
    if (type == kRecoveryPoint) return true;
    // 0x80 is also a type number; as the last byte, after a message, it is the stop bit of the unit.
    if (type == kTrailingBits && in.atEnd() && !first) return false;
    const auto size = extendedNumber(in);
    if (!type || !size) return std::nullopt;
    for (std::uint32_t i = 0; i < *size; ++i) {
      if (!in.byte()) return std::nullopt;
    }
  }
  return std::nullopt;
}

/// Adds one NAL unit to the picture. Returns false for one that cannot be judged: the whole sample is then unknown.
bool addNalUnit(Picture& picture, std::span<const std::byte> nal) {
  const auto header = std::to_integer<unsigned>(nal.front());
  if ((header & 0x80) != 0) return false;  // forbidden_zero_bit: this is not a NAL unit
  if ((header & 0x60) != 0) picture.reference = true;
  switch (nalType(nal.front())) {
    case kSlice:
    case kPartitionA: {
      const auto intra = isIntraSlice(nal.subspan(1));
      if (!intra) return false;
      (*intra ? picture.intra : picture.predicted) = true;
      return true;
    }
    case kIdrSlice:
      picture.idr = true;
      return true;
    case kSupplemental: {
      const auto recovery = marksRecoveryPoint(nal.subspan(1));
      if (recovery.value_or(false)) picture.recoveryPoint = true;
      return recovery.has_value();
    }
    // Without a part of the judgement: they belong to a slice that has been seen, or are no picture.
    case kPartitionB:
    case kPartitionC:
    case kSequenceParameters:
    case kPictureParameters:
    case kDelimiter:
    case kEndOfSequence:
    case kEndOfStream:
    case kFiller:
    case kSequenceExtension:
      return true;
    default:
      return false;
  }
}

AvcSample verdict(const Picture& picture) {
  if (picture.idr || picture.recoveryPoint) return AvcSample::kKeyFrame;
  // Neither kind of slice: parameter sets alone, or units that hide a picture. Not known to be harmless.
  if (!picture.predicted) return picture.intra ? AvcSample::kKeyFrame : AvcSample::kUnknown;
  return picture.reference ? AvcSample::kReference : AvcSample::kDisposable;
}

/// Reads a list of parameter sets of one NAL type, each after its 16-bit length. Returns false if it is anything else.
bool skipParameterSets(ByteReader& in, std::size_t count, unsigned type) {
  for (std::size_t i = 0; i < count; ++i) {
    if (in.remaining() < 2) return false;
    const auto size = in.u16();
    if (size == 0 || size > in.remaining()) return false;
    if (nalType(in.bytes(size).front()) != type) return false;
  }
  return true;
}

/// The whole sample has to be a record, to the last byte: a frame must never pass for a configuration, which stays
/// clear.
bool isConfiguration(std::span<const std::byte> sample) {
  constexpr std::size_t kSmallest = 7;
  if (sample.size() < kSmallest || sample.front() != std::byte{1}) return false;
  ByteReader in(sample);
  in.skip(5);
  const std::size_t sequences = in.u8() & 0x1F;
  if (sequences == 0 || !skipParameterSets(in, sequences, kSequenceParameters)) return false;
  if (in.remaining() == 0 || !skipParameterSets(in, in.u8(), kPictureParameters)) return false;
  if (in.remaining() == 0) return true;
  // The fields that the high profiles add.
  if (in.remaining() < 4) return false;
  in.skip(3);
  return skipParameterSets(in, in.u8(), kSequenceExtension) && in.remaining() == 0;
}

}  // namespace

AvcSample classifyAvcSample(std::span<const std::byte> sample) {
  // No ambiguity: read as NAL units, a record (first byte 1) would begin with a length of at least 16 MiB.
  if (isConfiguration(sample)) return AvcSample::kConfiguration;
  Picture picture;
  ByteReader in(sample);
  while (in.remaining() > 0) {
    if (in.remaining() < sizeof(std::uint32_t)) return AvcSample::kUnknown;
    const auto size = in.u32();
    if (size == 0 || size > in.remaining()) return AvcSample::kUnknown;
    if (!addNalUnit(picture, in.bytes(size))) return AvcSample::kUnknown;
  }
  return verdict(picture);
}

}  // namespace krvo::encryption
