#pragma once

#include <cstdint>
#include <string_view>

/// The number of a command that the server knows, by its name in any mix of ASCII case; 0 for all other names.
std::uint32_t commandIdOf(std::string_view name);
