// Any bytes as an index file: an error of its own or an index that comes back as it is.

#include "fragmentation/AfraBox.h"
#include "fuzz/fuzzing.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace ruvo::k2r;
  AfraIndex index;
  auto in = fuzz::streamOf(data, size);
  if (!fuzz::takes<InvalidAfraFormat, std::ios_base::failure>([&] { readAfra(in, index); })) return 0;
  std::stringstream image;
  writeAfra(image, index);
  AfraIndex back;
  readAfra(image, back);
  fuzz::require(back == index, "an index that was read comes back from what was written of it");
  return 0;
}
