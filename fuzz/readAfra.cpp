// Any bytes as an index file: its own error or an index that comes back as it is.

#include "fragmentation/AfraBox.h"
#include "fuzz/fuzzing.h"

using namespace ruvo::k2r;

void fuzz::target(Bytes input) {
  AfraIndex index;
  auto in = streamOf(input);
  if (!takes<InvalidAfraFormat, std::ios_base::failure>([&] { readAfra(in, index); })) return;
  std::stringstream image;
  writeAfra(image, index);
  AfraIndex back;
  readAfra(image, back);
  require(back == index, "an index that was read comes back from what was written of it");
}
