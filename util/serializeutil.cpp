#include "util/serializeutil.h"

#include <algorithm>

#include "util/bytes.h"
#include "util/diagnostics.h"

namespace qvs::util {
namespace {

constexpr std::size_t kMaxBytes = sizeof(std::uint64_t);

std::size_t checkedCount(std::size_t byteCount) {
  // A diagnostic does not stop the caller, so the count is cut as well: the image below has 8 bytes.
  diagnose(byteCount <= kMaxBytes);
  return std::min(byteCount, kMaxBytes);
}

}  // namespace

void writeNumber(ISerialize& out, std::size_t byteCount, std::uint64_t value) {
  std::byte image[kMaxBytes];
  const std::size_t count = checkedCount(byteCount);
  storeBigEndian(image, count, value);
  out.write(image, count);
}

std::uint64_t readNumber(IDeserialize& in, std::size_t byteCount) {
  std::byte image[kMaxBytes];
  const std::size_t count = checkedCount(byteCount);
  in.read(image, count);
  return loadBigEndian(image, count);
}

}  // namespace qvs::util
