// H.264 byte streams: the units of a stream are those that it has again once written with start codes, and their
// parameter sets make a configuration record.

#include "host/input/annexB.h"
#include "fuzz/fuzzing.h"
#include "host/input/avcConfig.h"
#include "util/bytes.h"

void fuzz::target(Bytes input) {
  const auto units = host::splitAnnexB(input);
  qvs::util::ByteWriter stream;
  for (const auto unit : units) {
    stream.u24(1);
    stream.bytes(unit);
  }
  const auto again = host::splitAnnexB(stream.bytes());
  const auto same = [](host::NalUnit a, host::NalUnit b) { return std::ranges::equal(a, b); };
  require(std::ranges::equal(units, again, same), "units come back");
  host::ParameterSets sets;
  sets.collect(units);
  const host::ParameterSets once = sets;
  sets.collect(units);
  require(sets == once, "a set counts once");
  if (sets.complete()) require(host::ParameterSets(sets.configurationRecord()) == sets, "a record has all sets");
  if (sets.complete()) require(sets.configurationRecord().size() >= 13, "a record has a set of each kind");
}
