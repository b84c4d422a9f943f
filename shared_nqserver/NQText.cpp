#include "shared_nqserver/NQText.h"

NQTextPtr makeText(std::string_view text) {
  return text.empty() ? NQTextPtr() : NQTextPtr::make(text);
}

const NQNarrowString& stringOf(const NQText* text) {
  // One for the process, so that the reference stays valid without a text.
  static const NQNarrowString empty;
  return text != nullptr ? text->string() : empty;
}
