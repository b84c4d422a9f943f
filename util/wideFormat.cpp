#include "util/wideFormat.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <string_view>
#include <utility>

#include "util/ScratchBuffer.h"
#include "util/typeconvertor.h"
#include "util/wideConversion.h"

namespace qvs::util {
namespace {

template <typename Value>
Value next(Arguments& arguments) {
  return va_arg(arguments.list, Value);
}

std::intmax_t signedArgument(ArgumentSize size, Arguments& arguments) {
  switch (size) {
    case ArgumentSize::kChar:
      return static_cast<signed char>(next<int>(arguments));
    case ArgumentSize::kShort:
      return static_cast<short>(next<int>(arguments));
    case ArgumentSize::kLong:
      return next<long>(arguments);
    case ArgumentSize::kLongDouble:
    case ArgumentSize::kLongLong:
      return next<long long>(arguments);
    default:
      return next<int>(arguments);
  }
}

std::uintmax_t unsignedArgument(ArgumentSize size, Arguments& arguments) {
  switch (size) {
    case ArgumentSize::kChar:
      return static_cast<unsigned char>(next<unsigned>(arguments));
    case ArgumentSize::kShort:
      return static_cast<unsigned short>(next<unsigned>(arguments));
    case ArgumentSize::kLong:
      return next<unsigned long>(arguments);
    case ArgumentSize::kLongDouble:
    case ArgumentSize::kLongLong:
      return next<unsigned long long>(arguments);
    default:
      return next<unsigned>(arguments);
  }
}

/// The text up to its terminator, or `most` characters: a text with a precision need not be terminated, so nothing
/// after them is read.
template <typename Char>
std::basic_string_view<Char> bounded(const Char* text, std::size_t most) {
  std::size_t length = 0;
  while (length < most && text[length] != 0) ++length;
  return {text, length};
}

class WideFormatter {
 public:
  explicit WideFormatter(Arguments& arguments) : arguments_(arguments) {}

  std::u16string run(const char16_t* at) {
    while (*at != 0 && !overflow_) {
      const char16_t* const start = at;
      if (*at != u'%') {
        while (*at != 0 && *at != u'%') ++at;
        put({start, at});
      } else if (at[1] == u'%') {
        put(u"%");
        at += 2;
      } else {
        const WideConversion conversion = readWideConversion(++at, arguments_);
        if (!convert(conversion)) put({start, at});
      }
    }
    return overflow_ ? std::u16string() : std::move(out_);
  }

 private:
  /// Appends the text of one conversion; false for an unknown letter, of which no argument was taken.
  bool convert(const WideConversion& conversion) {
    switch (conversion.letter) {
      case u'd':
      case u'i':
        putNumber(conversion, "-+ 0", "j", signedArgument(conversion.size, arguments_));
        return true;
      case u'u':
        putNumber(conversion, "-0", "j", unsignedArgument(conversion.size, arguments_));
        return true;
      case u'o':
      case u'x':
      case u'X':
        putNumber(conversion, "-#0", "j", unsignedArgument(conversion.size, arguments_));
        return true;
      case u'e':
      case u'E':
      case u'f':
      case u'F':
      case u'g':
      case u'G':
      case u'a':
      case u'A':
        putFloat(conversion);
        return true;
      case u'p':
        putPointer(conversion, next<void*>(arguments_));
        return true;
      case u'n':
        // Taken, so that later arguments stay in order, and never written to: a pattern must not write memory.
        static_cast<void>(next<void*>(arguments_));
        return true;
      case u'c':
      case u'C':
        putCharacter(conversion, next<int>(arguments_));
        return true;
      case u's':
      case u'S':
        putText(conversion, next<const void*>(arguments_));
        return true;
      default:
        return false;
    }
  }

  void putFloat(const WideConversion& conversion) {
    if (conversion.size == ArgumentSize::kLongDouble) {
      putNumber(conversion, "-+ #0", "L", next<long double>(arguments_));
    } else {
      putNumber(conversion, "-+ #0", "", next<double>(arguments_));
    }
  }

  void putPointer(WideConversion conversion, void* pointer) {
    conversion.precision = -1;
    putNumber(conversion, "-", "", pointer);
  }

  /// Formats by the C library. `flags` are the ones that are defined for the letter: others are undefined behaviour
  /// there. `modifier` is that of the type of `value`.
  template <typename Value>
  void putNumber(const WideConversion& conversion, std::string_view flags, const char* modifier, Value value) {
    std::string pattern = "%";
    std::copy_if(conversion.flags.begin(), conversion.flags.end(), std::back_inserter(pattern),
                 [&](char flag) { return flags.find(flag) != std::string_view::npos; });
    pattern += conversion.precision < 0 ? "*" : "*.*";
    pattern += modifier;
    pattern += static_cast<char>(conversion.letter);
    const auto print = [&](char* out, std::size_t size) {
      if (conversion.precision < 0) return std::snprintf(out, size, pattern.c_str(), conversion.width, value);
      return std::snprintf(out, size, pattern.c_str(), conversion.width, conversion.precision, value);
    };
    const int length = print(nullptr, 0);
    if (length < 0) {
      overflow_ = true;
      return;
    }
    ScratchBuffer<char, 512> text(static_cast<std::size_t>(length) + 1);
    print(text.data(), static_cast<std::size_t>(length) + 1);
    const std::string_view digits(text.data(), static_cast<std::size_t>(length));
    put(std::u16string(digits.begin(), digits.end()));
  }

  // h, l and w decide; without them the letter does, by the swap that formatWide() documents.
  static bool isWide(const WideConversion& conversion) {
    if (conversion.size == ArgumentSize::kShort) return false;
    if (conversion.size == ArgumentSize::kLong || conversion.size == ArgumentSize::kWide) return true;
    const bool isLowerCase = conversion.letter == u's' || conversion.letter == u'c';
    return isLowerCase != conversion.isDirect;
  }

  void putCharacter(const WideConversion& conversion, int character) {
    const auto unit = isWide(conversion) ? static_cast<char16_t>(character)
                                         : static_cast<char16_t>(static_cast<unsigned char>(character));
    putPadded(conversion, {&unit, 1});
  }

  void putText(const WideConversion& conversion, const void* text) {
    const auto most = static_cast<std::size_t>(conversion.precision < 0 ? kMaxWidth : conversion.precision);
    if (text == nullptr) {
      putPadded(conversion, std::u16string_view(u"(null)").substr(0, most));
    } else if (isWide(conversion)) {
      putPadded(conversion, bounded(static_cast<const char16_t*>(text), most));
    } else {
      putPadded(conversion, utf8ToUnitsLeniently(bounded(static_cast<const char*>(text), most)));
    }
  }

  void putPadded(const WideConversion& conversion, std::u16string_view text) {
    const auto width = static_cast<std::size_t>(conversion.width);
    const std::u16string padding(width > text.size() ? width - text.size() : 0, u' ');
    if (!conversion.has('-')) put(padding);
    put(text);
    if (conversion.has('-')) put(padding);
  }

  void put(std::u16string_view text) {
    // Once too long stays too long: a short text after a long one must not bring back half a result.
    overflow_ = overflow_ || text.size() > kMaxFormatted - out_.size();
    if (!overflow_) out_ += text;
  }

  Arguments& arguments_;
  std::u16string out_;
  bool overflow_ = false;
};

}  // namespace

std::u16string formatWide(const char16_t* pattern, std::va_list arguments) {
  // The caller's list stays usable.
  Arguments copy{};
  va_copy(copy.list, arguments);
  std::u16string text = WideFormatter(copy).run(pattern);
  va_end(copy.list);
  return text;
}

}  // namespace qvs::util
