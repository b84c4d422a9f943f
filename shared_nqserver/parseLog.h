#pragma once

#include <string>
#include <vector>

/// Replaces the file logs\cmdParsingLog.log in the program's directory by these lines. Where it cannot be written, as
/// without that folder, nobody is told.
void writeParseLog(const std::vector<std::string>& lines);
