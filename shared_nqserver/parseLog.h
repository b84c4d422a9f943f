#pragma once

#include <string>
#include <vector>

/// Replaces the file logs\cmdParsingLog.log in the program's directory by these lines, each with a newline. If it
/// cannot be written, which is the rule where that folder does not exist, nothing is reported: a log must fail no
/// recording.
void writeParseLog(const std::vector<std::string>& lines);
