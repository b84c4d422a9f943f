#pragma once

#include <cstddef>
#include <map>
#include <span>
#include <vector>

#include "host/input/annexB.h"

namespace host {

/// Sequence and picture parameter sets of a stream, one of each number: a later one replaces the earlier. Owns its
/// bytes.
class ParameterSets {
 public:
  ParameterSets() = default;
  /// Those of an `AVCDecoderConfigurationRecord`, as far as it is well formed.
  explicit ParameterSets(std::span<const std::byte> record);

  /// Takes the parameter sets among `units`.
  void collect(std::span<const NalUnit> units);
  bool complete() const { return !sequence_.empty() && !picture_.empty(); }
  /// Views of all sets, in the order in which a decoder needs them.
  std::vector<NalUnit> units() const;

  /// The `AVCDecoderConfigurationRecord` (ISO/IEC 14496-15, 5.3.3.1) for lengths of 1, 2 or 4 bytes. Only when
  /// complete().
  ///
  ///     0  u8  version 1         4  u8  0xFC | length size - 1    6  per set: u16 size, set
  ///     1  u8  profile           5  u8  0xE0 | sequence              u8 picture parameter sets
  ///     2  u8  compatibility            parameter sets               per set: u16 size, set
  ///     3  u8  level
  ///
  /// and for the profiles with a chroma format: 0xFC | format, 0xF8 | luma bits - 8, 0xF8 | chroma bits - 8, and a
  /// count of 0 sequence parameter set extensions. Sets beyond the room of a field are left out.
  std::vector<std::byte> configurationRecord(std::size_t lengthSize = 4) const;

  bool operator==(const ParameterSets&) const = default;

 private:
  std::map<unsigned, std::vector<std::byte>> sequence_;
  std::map<unsigned, std::vector<std::byte>> picture_;
};

/// Bytes of the length in front of each NAL unit, as a configuration record tells; 4 for what is none.
std::size_t nalLengthSize(std::span<const std::byte> record);

}  // namespace host
