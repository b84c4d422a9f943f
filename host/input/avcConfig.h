#pragma once

#include <cstddef>
#include <map>
#include <span>
#include <vector>

#include "host/input/annexB.h"

namespace host {

/// The sequence and picture parameter sets of an AVC stream, one for each number: a later one replaces an earlier one
/// of the same kind and number. Owns its bytes.
class ParameterSets {
 public:
  ParameterSets() = default;
  /// Those of an `AVCDecoderConfigurationRecord`. If it is malformed, those before the fault.
  explicit ParameterSets(std::span<const std::byte> record);

  /// Adds the parameter sets among `units`, and ignores all other units.
  void collect(std::span<const NalUnit> units);
  /// Whether it has at least one set of each kind.
  bool complete() const { return !sequence_.empty() && !picture_.empty(); }
  /// Views of all sets, in the order in which a decoder needs them. Valid until the object changes.
  std::vector<NalUnit> units() const;

  /// The `AVCDecoderConfigurationRecord` (ISO/IEC 14496-15, 5.3.3.1); `lengthSize` is 1, 2 or 4. Call it only if
  /// complete().
  ///
  ///     0  u8  version 1         4  u8  0xFC | length size - 1    6  per set: u16 size, set
  ///     1  u8  profile           5  u8  0xE0 | sequence              u8 picture parameter sets
  ///     2  u8  compatibility            parameter sets               per set: u16 size, set
  ///     3  u8  level
  ///
  /// and for the profiles with a chroma format: 0xFC | format, 0xF8 | luma bits - 8, 0xF8 | chroma bits - 8, and a
  /// count of 0 sequence parameter set extensions. Sets for which a field has no room are left out.
  std::vector<std::byte> configurationRecord(std::size_t lengthSize = 4) const;

  /// Whether the pictures have the same size and coding tools: the sequence parameter sets are equal.
  bool hasSequenceOf(const ParameterSets& other) const { return sequence_ == other.sequence_; }

  bool operator==(const ParameterSets&) const = default;

 private:
  /// By set number.
  std::map<unsigned, std::vector<std::byte>> sequence_;
  std::map<unsigned, std::vector<std::byte>> picture_;
};

/// Whether the private data of a stream are an `AVCDecoderConfigurationRecord`, which begins with version 1. In a byte
/// stream they begin with the zeros of a start code.
bool isConfigurationRecord(std::span<const std::byte> extradata);

/// Bytes of the length before each NAL unit, by a configuration record; 4 if `record` is too short for one.
std::size_t nalLengthSize(std::span<const std::byte> record);

}  // namespace host
