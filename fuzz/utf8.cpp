// Any bytes as UTF-8: a text that is taken comes back as it was, and the lenient reading of any text loses no byte.

#include <string_view>

#include "fuzz/fuzzing.h"
#include "util/NQStrUtil.h"
#include "util/utf.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const NQString wide(text);
  const auto lenient = qvs::util::utf8ToUnitsLeniently(text);
  if (!wide.empty()) {
    fuzz::require(qvs::util::toNarrow(wide.view()).view() == text, "a text that was taken comes back");
    fuzz::require(wide.view() == lenient, "of a valid text there is one reading");
  }
  fuzz::require(lenient.size() <= size && lenient.size() * 3 >= size, "a unit takes one to three bytes");
  fuzz::require(qvs::util::byteDump(data, size).length() <= 3 * 1024, "a dump is bounded");
  return 0;
}
