#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "host/input/annexB.h"

namespace host {

/// Sequence and picture parameter sets of a stream, in the order in which they came, each once. Owns its bytes.
class ParameterSets {
 public:
  /// Takes the parameter sets among `units`. True where there was a new one.
  bool collect(std::span<const NalUnit> units);
  bool complete() const { return !sequence_.empty() && !picture_.empty(); }

  /// The `AVCDecoderConfigurationRecord` (ISO/IEC 14496-15, 5.3.3.1) for lengths of 4 bytes. Only when complete().
  ///
  ///     0  u8  version 1         4  u8  0xFC | 3             6  per set: u16 size, set
  ///     1  u8  profile           5  u8  0xE0 | sequence         u8 picture parameter sets
  ///     2  u8  compatibility            parameter sets          per set: u16 size, set
  ///     3  u8  level
  ///
  /// and for the profiles with a chroma format: 0xFC | format, 0xF8 | luma bits - 8, 0xF8 | chroma bits - 8, and a
  /// count of 0 sequence parameter set extensions. Sets beyond the room of a field are left out.
  std::vector<std::byte> configurationRecord() const;

 private:
  std::vector<std::vector<std::byte>> sequence_;
  std::vector<std::vector<std::byte>> picture_;
};

}  // namespace host
