#pragma once

#include <string>

namespace qvs::util {

/// "Assert failed in FILE line N", where FILE starts at the folder `lodkin` if the path goes through one.
std::string diagnosticText(const char* file, int line);

/// Notes that a condition which callers answer for does not hold, and lets them carry on: the text is built and goes
/// nowhere. To be seen in a debugger.
void diagnose(bool holds, const char* file = __builtin_FILE(), int line = __builtin_LINE());

}  // namespace qvs::util
