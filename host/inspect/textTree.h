#pragma once

#include <string>

#include "host/output.h"

namespace host {

/// A document for people to read: a line a value, its key in words, what is in it indented; lists of objects that have
/// plain values only as tables.
std::string textTree(const Json& document);

}  // namespace host
