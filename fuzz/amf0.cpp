// Script data of AMF0, and of AMF3 behind its marker: what can be read is dumped, written and read again as the same.

#include "fuzz/scriptTrip.h"

namespace {

constexpr auto kRead = [](test::ScriptCodec& codec, NQDataValue& value) { codec.readValue(value); };
constexpr auto kWrite = [](test::ScriptCodec& codec, const NQDataValue& value) { codec.writeValue(value); };

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto payload = std::as_bytes(std::span(data, size));
  fuzz::valuesIn(payload, false, kRead);
  auto values = fuzz::valuesIn(payload, true, kRead);
  for (const auto& value : values) fuzz::require(!test::dumpOf(value).empty(), "each value has a dump");
  try {
    fuzz::requireSame(values, fuzz::valuesIn(fuzz::payloadOf(values, kWrite), true, kRead), false);
    fuzz::payloadOf({fuzz::memberOf(std::move(values))}, kWrite);
  } catch (const NQBreakConnection&) {
    // A reference to what AMF3 keeps for a date becomes a value one level deeper than it was. That, or a name that AMF3
    // takes and AMF0 does not, cannot be written.
  }
  return 0;
}
