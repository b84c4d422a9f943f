#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
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

/// Whether `read` comes to its end, rather than to one of the exceptions by which it may refuse its input.
template <typename Refusal, typename... Others, typename Read>
bool takes(const Read& read) {
  try {
    if constexpr (sizeof...(Others) != 0) return takes<Others...>(read);
    read();
    return true;
  } catch (const Refusal&) {
    return false;
  }
}

}  // namespace fuzz
