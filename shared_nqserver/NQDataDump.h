#pragma once

#include <string>

#include "shared_nqserver/NQDataValue.h"

/// Appends the kind and content of a value, for diagnostics: " kNumberType 5", " kStringType \"abc\"", " kObjectType (
/// a= kNumberType 1, b= kNullType )". A number shows the low 32 bits of its integer part, signed. An array inside
/// itself, one nested deeper than NQDataArray::kMaxNesting, and the members after 1 MiB of text become "...". Texts are
/// appended as they are: quotes and control characters in them are not escaped.
void dumpValue(std::string& out, const NQDataValue& value);
