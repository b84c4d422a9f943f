#pragma once

#include "fuzz/fuzzing.h"
#include "tests/support/ScriptCodec.h"

namespace fuzz {

/// Script values on their way there and back, all of AMF0 or all of AMF3.
struct ScriptTrip {
  /// The values of a payload up to its end or its first fault.
  std::vector<NQDataValue> valuesIn(Bytes payload, bool throwOnError = true) const {
    std::vector<NQDataValue> values;
    test::ScriptCodec codec(payload, throwOnError);
    const bool taken = takes<NQBreakConnection>([&] {
      while (codec.remaining() > 0 && !codec.errorFlag()) {
        NQDataValue value;
        isAMF3 ? codec.readAMF3(value) : void(codec.readValue(value));
        if (!codec.errorFlag()) values.push_back(std::move(value));
      }
    });
    require(taken || !codec.errorLog().empty(), "a refusal is in the log");
    for (const auto& value : values) require(!test::dumpOf(value).empty(), "each value has a dump");
    return values;
  }

  std::vector<std::byte> payloadOf(const std::vector<NQDataValue>& values) const {
    test::ScriptCodec codec;
    for (const auto& value : values) isAMF3 ? codec.writeAMF3(value) : codec.writeValue(value);
    return {codec.written().begin(), codec.written().end()};
  }

  /// Writes values, reads and writes them again. Some turn into others on the wire, but only once.
  void requireSame(const std::vector<NQDataValue>& values) const {
    const auto back = valuesIn(payloadOf(values));
    require(back.size() == values.size(), "as many values come back");
    const auto payload = payloadOf(back);
    requireEqual(payloadOf(valuesIn(payload)), payload, "a value that came back has the same bytes");
  }

  /// Lets go of all but the first value that lies in another one, which may refer to what goes with the rest.
  void writeMember(std::vector<NQDataValue> values) const {
    const auto holds = [](const NQDataValue& value) { return value.array() != nullptr && value.array()->size() > 0; };
    const auto holder = std::ranges::find_if(values, holds);
    const NQDataValue member = holder == values.end() ? NQDataValue() : holder->array()->value(0);
    values.clear();
    payloadOf({member});
  }

  bool isAMF3;
};

}  // namespace fuzz
