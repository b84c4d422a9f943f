#include "util/NQObject.h"

std::int32_t NQObject::release() {
  const std::int32_t left = countDown();
  if (left > 0) return left;
  destroy();
  return 0;
}
