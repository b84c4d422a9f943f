#pragma once

#include <cstddef>
#include <optional>

namespace platform::os {

/// Columns of the terminal that standard output is connected to. Nothing if it is not a terminal, or if the terminal
/// does not report its size.
std::optional<std::size_t> terminalWidth();

}  // namespace platform::os
