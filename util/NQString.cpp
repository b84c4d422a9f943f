#include "util/NQString.h"

#include "util/ScratchBuffer.h"
#include "util/typeconvertor.h"

namespace qvs::util {

StringBlock<char16_t> internUtf8(std::string_view utf8) {
  // A byte gives at most one unit.
  ScratchBuffer<char16_t, 1024> units(utf8.size());
  const auto count = utf8ToUnits(utf8, units.data());
  if (!count) return {};
  return StringPool::instance().intern(std::u16string_view(units.data(), *count));
}

}  // namespace qvs::util
