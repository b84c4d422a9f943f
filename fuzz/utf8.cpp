// Any bytes as UTF-8: a text that is taken comes back as it was, and the lenient reading of any text loses no byte.

#include <string_view>

#include "fuzz/fuzzing.h"
#include "util/NQStrUtil.h"
#include "util/typeconvertor.h"

void fuzz::target(Bytes input) {
  const std::string_view text(reinterpret_cast<const char*>(input.data()), input.size());
  const NQString wide(text);
  const auto lenient = qvs::util::utf8ToUnitsLeniently(text);
  if (!wide.empty()) {
    require(qvs::util::toNarrow(wide.view()).view() == text, "a text that was taken comes back");
    require(wide.view() == lenient, "of a valid text there is one reading");
  }
  require(lenient.size() <= text.size() && lenient.size() * 3 >= text.size(), "a unit takes one to three bytes");
  require(qvs::util::byteDump(input.data(), input.size()).length() <= 3 * 1024, "a dump is bounded");
}
