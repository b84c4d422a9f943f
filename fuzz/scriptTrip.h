#pragma once

#include <vector>

#include "fuzz/fuzzing.h"
#include "shared_nqserver/NQDataArray.h"
#include "tests/support/ScriptCodec.h"
#include "tests/support/sameValue.h"

namespace fuzz {

/// The values of a payload up to its end or its first fault. `read` reads one.
template <typename Read>
std::vector<NQDataValue> valuesIn(std::span<const std::byte> payload, bool throwOnError, const Read& read) {
  std::vector<NQDataValue> values;
  test::ScriptCodec codec(payload, throwOnError);
  try {
    while (codec.remaining() > 0 && !codec.errorFlag()) {
      NQDataValue value;
      read(codec, value);
      if (!codec.errorFlag()) values.push_back(std::move(value));
    }
  } catch (const NQBreakConnection&) {
    require(!codec.errorLog().empty(), "a refusal is in the log");
  }
  return values;
}

/// The payload of some values. `write` writes one.
template <typename Write>
std::vector<std::byte> payloadOf(const std::vector<NQDataValue>& values, const Write& write) {
  test::ScriptCodec codec;
  for (const auto& value : values) write(codec, value);
  return {codec.written().begin(), codec.written().end()};
}

inline void requireSame(const std::vector<NQDataValue>& written, const std::vector<NQDataValue>& read, bool isAMF3) {
  require(written.size() == read.size(), "as many values come back");
  for (std::size_t i = 0; i < written.size(); ++i)
    require(test::sameValue(written[i], read[i], isAMF3), "a value comes back");
}

/// Lets go of all but the first value that lies in another one, which may refer to what goes with the rest.
inline NQDataValue memberOf(std::vector<NQDataValue> values) {
  for (const auto& value : values)
    if (value.array() != nullptr && value.array()->size() > 0) return value.array()->value(0);
  return {};
}

}  // namespace fuzz
