#pragma once

#include <string>

#include "shared_nqserver/NQDataValue.h"

/// Appends what a value is, for diagnostics: " kNumberType 5", " kStringType \"abc\"",
/// " kObjectType ( a= kNumberType 1, b= kNullType )". Of a number the low 32 bits of its integer part, signed. An array
/// inside itself, one deeper than the codecs go, and all beyond a text of 1 MiB are cut to "...".
void dumpValue(std::string& out, const NQDataValue& value);
