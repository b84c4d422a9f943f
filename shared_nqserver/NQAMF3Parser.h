#pragma once

#include <cstdint>
#include <deque>

#include "shared_nqserver/nqparser.h"

/// Adds the variable-length integer of AMF3 (AMF 3 specification, 1.3.1) and its strings (1.3.2), which later strings
/// of the same parser may refer to:
///
///     U29     1 to 4 bytes, highest bits first; bit 7 of a byte says that another follows; the fourth has 8 bits
///     string  U29: length * 2 + 1, then that many bytes; or index * 2 of an earlier string
class NQAMF3Parser : public NQDataParser {
 protected:
  using NQDataParser::NQDataParser;
  ~NQAMF3Parser() = default;

  /// 29 bits, unsigned; 0 on an error.
  std::uint32_t readU29();
  /// A value of 0x40000000 or more is written as 0: callers check before. Of 30 bits the highest is lost.
  void writeU29(std::uint32_t value);
  /// Null for the empty string, and on an error: an index that does not exist, or a length beyond the input.
  NQTextPtr readAMF3String();
  /// As a reference if an equal text was written before. Linear in the number of texts.
  void writeAMF3String(const NQTextPtr& text);

  /// Later strings cannot refer to earlier ones then.
  void clearStrings() { stringTable_.clear(); }

 private:
  NQTextPtr readInlineString(std::uint32_t length);

  /// Without the empty string, which is never referred to. A deque: a growing vector would need twice its size for a
  /// while, which the allowance of the payload does not count.
  std::deque<NQTextPtr> stringTable_;
};
