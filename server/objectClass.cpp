#include "server/objectClass.h"

#include "server/memberNames.h"

std::optional<NQTextPtr> classNameOf(const NQDataArray& object) {
  // The first member only: data may have a member of that name anywhere else.
  const NQDataValue& first = object.value(0);
  if (first.kind() != NQDataKind::kStringType || object.name(0) != memberNames().constructor->string().view())
    return std::nullopt;
  return first.text();
}
