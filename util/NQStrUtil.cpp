#include "util/NQStrUtil.h"

#include <algorithm>
#include <cstdint>
#include <span>
#include <string>

#include "util/ScratchBuffer.h"
#include "util/typeconvertor.h"
#include "util/wideFormat.h"

namespace qvs::util {

NQNarrowString toNarrow(std::u16string_view wide) {
  ScratchBuffer<char, 1024 * kMaxUtf8Size> bytes(wide.size() * kMaxUtf8Size);
  const std::size_t size = unitsToUtf8(wide, bytes.data());
  return NQNarrowString(std::string_view(bytes.data(), size));
}

void format(NQString& out, const char16_t* pattern, ...) {
  std::va_list arguments;
  va_start(arguments, pattern);
  formatList(out, pattern, arguments);
  va_end(arguments);
}

void formatList(NQString& out, const char16_t* pattern, std::va_list arguments) {
  // The text is complete before `out` changes, since an argument may be its c_str().
  out.assign(std::u16string_view(formatWide(pattern, arguments)));
}

NQString byteDump(const void* data, std::size_t size) {
  // A payload may have 16 MiB; the log line has to stay short.
  constexpr std::size_t kMaxDumped = 1024;
  constexpr char16_t kDigits[] = u"0123456789ABCDEF";
  if (data == nullptr) return {};
  std::u16string text;
  for (const std::uint8_t byte : std::span(static_cast<const std::uint8_t*>(data), std::min(size, kMaxDumped))) {
    if (byte >= 0x20 && byte <= 0x7E) {
      text += static_cast<char16_t>(byte);
    } else {
      text += kDigits[byte >> 4];
      text += kDigits[byte & 15];
    }
    text += u' ';
  }
  return NQString(std::u16string_view(text));
}

PathParts splitPath(const NQString& path) {
  const std::u16string_view whole = path.view();
  const std::size_t cut = whole.rfind(u'\\');
  if (cut == std::u16string_view::npos) return {{}, path};
  return {NQString(whole.substr(0, cut)), NQString(whole.substr(cut + 1))};
}

}  // namespace qvs::util
