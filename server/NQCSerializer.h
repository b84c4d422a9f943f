#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "shared_nqserver/NQAMF3Parser.h"
#include "shared_nqserver/NQDataArray.h"

/// Reads or writes script values in AMF0, and in AMF3 where a marker turns to it. Values of one serializer may refer to
/// earlier ones, so its tables go on from value to value. Values that were read outlive it.
///
/// Values deeper in one another than NQDataArray::kMaxNesting are refused like any malformed one, both ways.
class NQCSerializer : public NQAMF3Parser {
 public:
  /// Reads the next value, and its property name in front where one is asked for; answers its marker, or that of the
  /// object end (9) where the reading stopped on an error. An object end, and a reference to nothing, may leave `value`
  /// as it was. Also throws NQBreakConnection, whatever the mode, for a marker that does not exist.
  std::uint8_t readValue(NQDataValue& value, NQTextPtr* name = nullptr);
  /// Throws NQBreakConnection for what neither format can hold, and NQOutOfMemory; the bytes written then end somewhere
  /// in the value.
  void writeValue(const NQDataValue& value, const NQTextPtr* name = nullptr);
  /// Later values then refer to nothing before.
  void clearTables();

 protected:
  using NQAMF3Parser::NQAMF3Parser;
  ~NQCSerializer() = default;
};
