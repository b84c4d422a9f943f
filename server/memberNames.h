#pragma once

#include "shared_nqserver/NQText.h"

/// Names of members that the serializer makes itself, shared by all values of the process.
struct MemberNames {
  // An object's class.
  const NQTextPtr constructor = makeText("constructor");
  // Vectors and dictionaries.
  const NQTextPtr size = makeText("size");
  const NQTextPtr fixed = makeText("fixed");
  const NQTextPtr closure = makeText("closure");
  const NQTextPtr weak = makeText("weak");
  const NQTextPtr key = makeText("key");
  const NQTextPtr value = makeText("value");
};

inline const MemberNames& memberNames() {
  static const MemberNames names;
  return names;
}
