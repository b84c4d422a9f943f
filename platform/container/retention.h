#pragma once

#include <cstddef>

namespace krvo::container {

/// Bytes that a buffer of a writer may keep from one fragment to the next, to be filled again without an allocation. A
/// server has a thousand streams, each with a writer: one large fragment must not cost memory for ever.
inline constexpr std::size_t kRetainedBytes = std::size_t{256} << 10;

/// Empties a vector, and gives its memory back if that exceeds kRetainedBytes.
template <typename Vector>
void clearRetained(Vector& vector) noexcept {
  vector.clear();
  if (vector.capacity() * sizeof(typename Vector::value_type) > kRetainedBytes) Vector().swap(vector);
}

/// Makes room for one more element, so that adding it cannot throw. Grows in doublings, as push_back does.
template <typename Vector>
void growForOne(Vector& vector) {
  constexpr std::size_t kFirst = 64;
  if (vector.size() < vector.capacity()) return;
  vector.reserve(vector.empty() ? kFirst : vector.size() * 2);
}

}  // namespace krvo::container
