#pragma once

#include <cstdint>

namespace test {

/// What reached this program's `operator new` and `operator delete` while it was being counted. They mark their blocks,
/// so that a block of anybody else is told, and one of theirs that anybody else frees ends the program.
struct OperatorCount {
  std::uint64_t allocations = 0;
  std::uint64_t releases = 0;
  std::uint64_t foreignReleases = 0;
  bool operator==(const OperatorCount&) const = default;
};
extern OperatorCount operatorCount;

/// Counts, or stops counting, for a scope.
class Counting {
 public:
  explicit Counting(bool on);
  ~Counting();
  Counting(const Counting&) = delete;
  Counting& operator=(const Counting&) = delete;

 private:
  bool before_;
};

}  // namespace test
