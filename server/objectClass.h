#pragma once

#include <optional>

#include "shared_nqserver/NQDataArray.h"

/// The class name of an object, in its first member, "constructor"; nothing where it has no such member. May be empty.
std::optional<NQTextPtr> classNameOf(const NQDataArray& object);
