#pragma once

#include <cstdint>
#include <string_view>

/// The number of a command, by its name in any mix of ASCII case, 1 to 22; 0 for names that no command has. The numbers
/// are fixed: logs show them.
std::uint32_t commandIdOf(std::string_view name);
