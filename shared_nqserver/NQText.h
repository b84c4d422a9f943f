#pragma once

#include <cstddef>
#include <string_view>

#include "shared_nqserver/ReadAllowance.h"
#include "util/NQPtr.h"
#include "util/NQString.h"

/// A UTF-8 text that many values and names share, as script data repeats its texts by reference. Never changes. The
/// bytes are kept as they came, valid or not.
class NQText final : public NQObject {
 public:
  explicit NQText(std::string_view text) : string_(text) {}

  const NQNarrowString& string() const { return string_; }
  /// Memory that a text of so many bytes takes, its blocks included.
  static constexpr std::size_t costOf(std::size_t length) {
    return sizeof(NQText) + qvs::util::StringBlock<char>::privateSize(length) + 2 * ReadAllowance::kPerBlock;
  }

 private:
  const NQNarrowString string_;
};

/// Null is the empty text.
using NQTextPtr = NQPtr<NQText>;

/// A text to share; null for an empty one.
NQTextPtr makeText(std::string_view text);
/// The string of a text that may be null.
const NQNarrowString& stringOf(const NQText* text);
