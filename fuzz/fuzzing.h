#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <sstream>
#include <string>

namespace fuzz {

using Bytes = std::span<const std::byte>;

/// What a fuzz target defines: takes any bytes, and aborts on a broken promise.
void target(Bytes input);

/// Ends the program unless `kept`.
inline void require(bool kept, const char* promise) {
  if (kept) return;
  std::fprintf(stderr, "broken promise: %s\n", promise);
  std::abort();
}

inline void requireEqual(Bytes a, Bytes b, const char* promise) {
  require(std::ranges::equal(a, b), promise);
}

inline std::istringstream streamOf(Bytes input) {
  return std::istringstream(std::string(reinterpret_cast<const char*>(input.data()), input.size()));
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
