#pragma once

#include <cstdint>
#include <deque>
#include <string_view>

#include "shared_nqserver/nqparser.h"

/// Adds the variable-length integer of AMF3 (1.3.1) and its strings, which later ones may refer to (1.3.2).
class NQAMF3Parser : public NQDataParser {
 protected:
  using NQDataParser::NQDataParser;
  ~NQAMF3Parser() = default;

  std::uint32_t readU29();
  /// A value from 0x40000000 on is written as 0.
  void writeU29(std::uint32_t value);
  NQTextPtr readAMF3String();
  void writeAMF3String(const NQTextPtr& text);

  void clearStrings() { stringTable_.clear(); }

 private:
  NQTextPtr readInlineString(std::uint32_t length);

  /// A deque, which takes no more than it holds while it grows.
  std::deque<NQTextPtr> stringTable_;
};
