#pragma once

#include <string>

#include "host/Command.h"

namespace manual {

// The manual and the completions are made of the same declarations as the help, so that they cannot disagree. Each
// function is pure; `path` is how the command is called, such as "k2r record".

/// A page of section 1 for man (roff with the macros of man(7)). `version` and `date` are for its last line.
std::string page(const host::Command& command, const std::string& path, const std::string& version,
                 const std::string& date);

std::string bashCompletion(const host::Command& program);
std::string zshCompletion(const host::Command& program);
std::string fishCompletion(const host::Command& program);

}  // namespace manual
