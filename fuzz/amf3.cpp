// AMF3 values one after another: what can be read is dumped, written and read again as the same, to the byte from the
// second writing on.

#include "fuzz/scriptTrip.h"

void fuzz::target(Bytes input) {
  constexpr ScriptTrip kTrip{.isAMF3 = true};
  auto values = kTrip.valuesIn(input);
  kTrip.requireSame(kTrip.valuesIn(input, false), values);
  const auto written = kTrip.payloadOf(values);
  const auto back = kTrip.valuesIn(written);
  kTrip.requireSame(values, back);
  requireEqual(kTrip.payloadOf(back), written, "a value that came back has the same bytes");
  kTrip.writeMember(std::move(values));
}
