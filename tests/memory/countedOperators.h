#pragma once

#include <cstdint>

namespace test {

/// What reached this program's `operator new` and `operator delete`. They mark their blocks, so that a block of anybody
/// else is told, and one of theirs that anybody else frees ends the program.
struct OperatorCount {
  std::uint64_t allocations = 0;
  std::uint64_t releases = 0;
  std::uint64_t foreignReleases = 0;
};
extern OperatorCount operatorCount;

}  // namespace test
