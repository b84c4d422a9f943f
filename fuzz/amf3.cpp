// AMF3 values one after another: what can be read is dumped, written and read again as the same.

#include "fuzz/scriptTrip.h"

void fuzz::target(Bytes input) {
  constexpr ScriptTrip kTrip{.isAMF3 = true};
  auto values = kTrip.valuesIn(input);
  requireEqual(kTrip.payloadOf(kTrip.valuesIn(input, false)), kTrip.payloadOf(values), "throwing changes nothing");
  kTrip.requireSame(values);
  kTrip.writeMember(std::move(values));
}
