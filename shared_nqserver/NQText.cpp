#include "shared_nqserver/NQText.h"

NQTextPtr makeText(std::string_view text) {
  return text.empty() ? NQTextPtr() : NQTextPtr::make(text);
}

const NQNarrowString& stringOf(const NQText* text) {
  static const NQNarrowString empty;
  return text != nullptr ? text->string() : empty;
}
