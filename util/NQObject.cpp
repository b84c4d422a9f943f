#include "util/NQObject.h"

std::int32_t NQObject::release() {
  const std::int32_t left = countDown();
  // The local copy decides: once the count is down, another thread may have deleted the object.
  if (left > 0) return left;
  destroy();
  return 0;
}
