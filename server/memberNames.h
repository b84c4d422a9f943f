#pragma once

#include "shared_nqserver/NQText.h"

/// Names of members that the serializer adds itself. One text for each, shared by all values of the process, so that a
/// payload of a million values does not make a million copies. Read only, so all threads may use them.
struct MemberNames {
  /// The first member of an object with a class; its value is the class name.
  const NQTextPtr constructor = makeText("constructor");
  // Members of vectors and dictionaries, in the order in which they are stored.
  const NQTextPtr size = makeText("size");
  const NQTextPtr fixed = makeText("fixed");
  const NQTextPtr closure = makeText("closure");
  const NQTextPtr weak = makeText("weak");
  const NQTextPtr key = makeText("key");
  const NQTextPtr value = makeText("value");
};

/// Made at the first use. The texts are counted, so values that outlive this object keep theirs.
inline const MemberNames& memberNames() {
  static const MemberNames names;
  return names;
}
