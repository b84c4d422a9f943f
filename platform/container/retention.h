#pragma once

#include <cstddef>

namespace krvo::container {

/// A server holds a writer for each of its streams. What one of them keeps from fragment to fragment, to be filled
/// again without an allocation, stays below this for each of its buffers.
inline constexpr std::size_t kRetainedBytes = std::size_t{256} << 10;

/// Empties a vector, and gives its memory back where it has grown beyond that.
template <typename Vector>
void clearRetained(Vector& vector) noexcept {
  vector.clear();
  if (vector.capacity() * sizeof(typename Vector::value_type) > kRetainedBytes) Vector().swap(vector);
}

/// Makes room for one more element, so that adding it cannot fail.
template <typename Vector>
void growForOne(Vector& vector) {
  constexpr std::size_t kFirst = 64;
  if (vector.size() < vector.capacity()) return;
  vector.reserve(vector.empty() ? kFirst : vector.size() * 2);
}

}  // namespace krvo::container
