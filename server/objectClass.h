#pragma once

#include <optional>

#include "shared_nqserver/NQDataArray.h"

/// The class name of an object: the text of its first member, if that is a string and its name is "constructor".
/// Returns nothing if there is no such member, and a null text for the empty class name.
std::optional<NQTextPtr> classNameOf(const NQDataArray& object);
