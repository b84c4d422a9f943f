// Any bytes as a bootstrap file: its own error, or a bootstrap that comes back as it is and can be continued.

#include "fragmentation/BootstrapBuilder.h"
#include "fragmentation/BootstrapReader.h"
#include "fragmentation/BootstrapWriter.h"
#include "fuzz/fuzzing.h"

namespace {

using namespace ruvo::k2r;

std::string written(const BootstrapInfo& info, bool bodyOnly) {
  std::ostringstream out;
  const auto count = writeBootstrap(out, info, bodyOnly);
  fuzz::require(count == out.str().size(), "the writer tells how much it wrote");
  return out.str();
}

BootstrapInfo readBack(const std::string& image) {
  std::istringstream in(image);
  BootstrapInfo info;
  readBootstrap(in, info);
  return info;
}

/// As an append does, from an index that ends at `lastFragment`.
void continueFrom(const BootstrapInfo& info, std::uint32_t lastFragment) {
  BootstrapBuilder builder(100.0, 1000, info, lastFragment);
  builder.resume();
  builder.addEmptyFragment(1, lastFragment + 1, 4000);
  builder.addFragment(2, lastFragment + 2, 8000, 4000);
  builder.addFragment(2, lastFragment + 5, 20000, 4000);
  builder.addTimestampGap(3, lastFragment + 9, 36000);
  builder.endPresentation();
  fuzz::require(readBack(written(builder.info(), false)) == builder.info(), "a continued bootstrap can be read");
}

}  // namespace

void fuzz::target(Bytes input) {
  BootstrapInfo info;
  auto in = streamOf(input);
  if (!takes<InvalidBootstrapFormat, std::ios_base::failure>([&] { readBootstrap(in, info); })) return;
  const std::string image = written(info, false);
  require(readBack(image) == info, "a bootstrap that was read comes back from what was written of it");
  require(written(info, true) == image.substr(12), "a body is the box without its first 12 bytes");
  for (const std::uint32_t lastFragment : {0U, 1U, 3U, 0xFFFFFFFFU}) continueFrom(info, lastFragment);
}
