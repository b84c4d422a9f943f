// Script data of AMF0, and of AMF3 after its marker: what can be read is dumped, written and read again as the same.

#include "fuzz/scriptTrip.h"

void fuzz::target(Bytes input) {
  constexpr ScriptTrip kTrip{.isAMF3 = false};
  kTrip.valuesIn(input, false);
  auto values = kTrip.valuesIn(input);
  // A reference to what AMF3 keeps for a date becomes a value one level deeper than it was. That, or a name that AMF3
  // takes and AMF0 does not, cannot be written.
  takes<NQBreakConnection>([&] {
    kTrip.requireSame(values);
    kTrip.writeMember(std::move(values));
  });
}
