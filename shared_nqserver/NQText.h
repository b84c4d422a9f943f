#pragma once

#include <cstddef>
#include <string_view>

#include "shared_nqserver/ReadAllowance.h"
#include "util/NQPtr.h"
#include "util/NQString.h"

/// A UTF-8 text shared by many values and names, as script data repeats its texts by reference: 16 MiB of payload can
/// name one text a million times. Immutable, so all threads may read it. The bytes are kept as they came, valid or not.
class NQText final : public NQObject {
 public:
  explicit NQText(std::string_view text) : string_(text) {}

  const NQNarrowString& string() const { return string_; }
  /// Memory in bytes that a text of `length` bytes takes, with both heap blocks.
  static constexpr std::size_t costOf(std::size_t length) {
    return sizeof(NQText) + qvs::util::StringBlock<char>::privateSize(length) + 2 * ReadAllowance::kPerBlock;
  }

 private:
  const NQNarrowString string_;
};

/// Null is the empty text.
using NQTextPtr = NQPtr<NQText>;

/// A new text; null for an empty one.
NQTextPtr makeText(std::string_view text);
/// The string of a text, the empty string for null. A view of the text.
const NQNarrowString& stringOf(const NQText* text);
