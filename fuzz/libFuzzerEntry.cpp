#include "fuzz/fuzzing.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::target(std::as_bytes(std::span(data, size)));
  return 0;
}
