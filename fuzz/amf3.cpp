// AMF3 values one behind another: what can be read is dumped, written and read again as the same, to the byte from the
// second writing on.

#include "fuzz/scriptTrip.h"

namespace {

constexpr auto kRead = [](test::ScriptCodec& codec, NQDataValue& value) { codec.readAMF3(value); };
constexpr auto kWrite = [](test::ScriptCodec& codec, const NQDataValue& value) { codec.writeAMF3(value); };

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto payload = std::as_bytes(std::span(data, size));
  const auto lenient = fuzz::valuesIn(payload, false, kRead);
  auto values = fuzz::valuesIn(payload, true, kRead);
  fuzz::requireSame(lenient, values, true);
  for (const auto& value : values) fuzz::require(!test::dumpOf(value).empty(), "each value has a dump");

  const auto written = fuzz::payloadOf(values, kWrite);
  const auto back = fuzz::valuesIn(written, true, kRead);
  fuzz::requireSame(values, back, true);
  fuzz::require(fuzz::payloadOf(back, kWrite) == written, "a value that came back has the same bytes");
  fuzz::payloadOf({fuzz::memberOf(std::move(values))}, kWrite);
  return 0;
}
