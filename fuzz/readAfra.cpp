// Any bytes as an index file: an error of its own or an index that comes back as it is.

#include "fragmentation/AfraBox.h"
#include "fuzz/fuzzing.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace ruvo::k2r;
  AfraIndex index;
  try {
    auto in = fuzz::streamOf(data, size);
    readAfra(in, index);
  } catch (const InvalidAfraFormat&) {
    return 0;
  } catch (const std::ios_base::failure&) {
    return 0;
  }
  std::stringstream image;
  writeAfra(image, index);
  AfraIndex back;
  readAfra(image, back);
  fuzz::require(back == index, "an index that was read comes back from what was written of it");
  return 0;
}
