#pragma once

#include <string>

namespace qvs::util {

/// "Assert failed in FILE line N", where FILE starts at the folder `lodkin` if `file` contains that name.
std::string diagnosticText(const char* file, int line);

/// Notes that a condition which callers are responsible for is false, and lets them continue: the text is built and
/// dropped, so that a debugger can stop here. It ends no process and guards nothing; code after it has to be safe
/// either way.
void diagnose(bool holds, const char* file = __builtin_FILE(), int line = __builtin_LINE());

}  // namespace qvs::util
