#pragma once

#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "tests/durability/SystemCalls.h"

namespace test {

/// The files of a directory, by their names.
using DiskState = std::map<std::string, std::string>;

/// A disk without mercy. What was done to a directory is applied to it; a loss of power may come at any time, and then
/// of all that was not flushed any part may be there: writes whole, not at all, or some of their 512-byte sectors, in
/// any order; files with their new size and nothing in it; names made, replaced and removed, or not.
class Disk {
 public:
  static constexpr std::size_t kSector = 512;

  void apply(const FileOperation& operation);
  /// What may be found after a loss of power now, while `interrupted` was being done.
  DiskState afterPowerLoss(const FileOperation& interrupted, std::mt19937& random) const;
  /// Without a loss of power.
  DiskState now() const;

 private:
  using Kind = FileOperation::Kind;

  struct File {
    std::string durable;
    /// Writes and truncations, oldest first.
    std::vector<FileOperation> pending;
  };
  struct Names {
    std::map<std::string, std::uint32_t> files;
    void apply(const FileOperation& operation);
  };

  static bool changesNames(const FileOperation& operation);
  static void apply(std::string& content, const FileOperation& operation);
  static void applyPart(std::string& content, const FileOperation& operation, std::mt19937& random);
  static std::string survivor(const File& file, std::mt19937& random);

  std::map<std::uint32_t, File> files_;
  Names durableNames_;
  std::vector<FileOperation> pendingNames_;
};

}  // namespace test
