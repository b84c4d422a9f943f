#include <cstdio>
#include <span>
#include <string>

#include "util/NQTimeValue.h"
#include "util/truncation.h"

namespace qvs::util {
namespace {

/// One number of an interval: how often `unit` fits in it, modulo `modulus` if that is not 0, times `scale`.
struct Field {
  char16_t letter = 0;
  std::int64_t unit = 1;
  std::int64_t modulus = 0;
  int digits = 1;
  /// 100 for nanoseconds, as a tick has 100 of them.
  std::int64_t scale = 1;
};

/// In seconds.
constexpr Field kSecondFields[] = {{u'D', 86400, 0, 1}, {u'H', 3600, 24, 2}, {u'M', 60, 60, 2}, {u'S', 1, 60, 2}};
/// In ticks.
constexpr Field kTickFields[] = {{u'm', 10'000, 1000, 3},
                                 {u'u', 10, 1000, 3},
                                 {u'U', 10, 1'000'000, 6},
                                 {u'n', 1, 10, 3, 100},
                                 {u'N', 1, kTicksPerSecond, 9, 100}};

/// The number that `letter` names; empty if the table has no such letter.
std::u16string textOfField(std::span<const Field> fields, char16_t letter, std::int64_t interval) {
  for (const Field& field : fields) {
    if (field.letter != letter) continue;
    // Division toward zero gives a negative interval negative numbers, each by itself; no sign is taken off before, as
    // the lowest count has no positive counterpart.
    const std::int64_t count = interval / field.unit;
    const std::int64_t number = (field.modulus == 0 ? count : count % field.modulus) * field.scale;
    char text[24];
    const int length = std::snprintf(text, sizeof(text), "%0*lld", field.digits, static_cast<long long>(number));
    return {text, text + length};
  }
  return {};
}

/// The pattern with each "%" and letter replaced by what `fieldText` returns for the letter.
template <typename FieldText>
NQString expand(std::u16string_view pattern, const FieldText& fieldText) {
  std::u16string text;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] != u'%') {
      text += pattern[i];
    } else if (++i < pattern.size()) {
      text += pattern[i] == u'%' ? u"%" : fieldText(pattern[i]);
    }
  }
  return NQString(std::u16string_view(text));
}

}  // namespace

NQString intervalText(std::int64_t ticks, std::u16string_view pattern) {
  return expand(pattern, [&](char16_t letter) {
    return textOfField(kSecondFields, letter, ticks / kTicksPerSecond) + textOfField(kTickFields, letter, ticks);
  });
}

NQString intervalText(double seconds, std::u16string_view pattern) {
  const std::int64_t whole = truncateToInt64(seconds);
  return expand(pattern, [&](char16_t letter) { return textOfField(kSecondFields, letter, whole); });
}

}  // namespace qvs::util
