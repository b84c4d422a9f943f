// H.264 byte streams: the units of a stream are those that it has again once written with start codes, and their
// parameter sets make a configuration record.

#include <algorithm>

#include "fuzz/fuzzing.h"
#include "host/input/annexB.h"
#include "host/input/avcConfig.h"
#include "util/bytes.h"

namespace {

void splitAgain(std::span<const host::NalUnit> units) {
  qvs::util::ByteWriter stream;
  for (const auto unit : units) {
    stream.u24(1);
    stream.bytes(unit);
  }
  const auto again = host::splitAnnexB(stream.bytes());
  const auto same = [](host::NalUnit a, host::NalUnit b) { return std::equal(a.begin(), a.end(), b.begin(), b.end()); };
  fuzz::require(std::equal(units.begin(), units.end(), again.begin(), again.end(), same), "units come back");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto units = host::splitAnnexB(std::as_bytes(std::span(data, size)));
  splitAgain(units);
  host::ParameterSets sets;
  sets.collect(units);
  fuzz::require(!sets.collect(units), "a set counts once");
  if (sets.complete()) fuzz::require(sets.configurationRecord().size() >= 13, "a record has a set of each kind");
  return 0;
}
