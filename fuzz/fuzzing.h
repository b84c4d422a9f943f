#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>

/// What a fuzz target defines: takes any bytes, answers 0, and aborts on a broken promise.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

/// Ends the program unless `kept`.
inline void require(bool kept, const char* promise) {
  if (kept) return;
  std::fprintf(stderr, "broken promise: %s\n", promise);
  std::abort();
}

inline std::istringstream streamOf(const std::uint8_t* data, std::size_t size) {
  return std::istringstream(std::string(reinterpret_cast<const char*>(data), size));
}

}  // namespace fuzz
