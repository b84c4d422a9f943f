#pragma once

#include <cstddef>

namespace krvo::container {

/// Empties a vector and gives its memory back. A writer keeps nothing from one fragment to the next: a server has a
/// thousand streams, which write one after another, and take the same blocks while these are still in the cache.
template <typename Vector>
void releaseMemory(Vector& vector) noexcept {
  Vector().swap(vector);
}

/// Makes room for one more element, so that adding it cannot throw. Grows in doublings, as push_back does.
template <typename Vector>
void growForOne(Vector& vector) {
  constexpr std::size_t kFirst = 64;
  if (vector.size() < vector.capacity()) return;
  vector.reserve(vector.empty() ? kFirst : vector.size() * 2);
}

}  // namespace krvo::container
