#pragma once

#include <algorithm>
#include <map>
#include <random>

#include "tests/durability/SystemCalls.h"

namespace test {

/// The files of a directory, by their names.
using DiskState = std::map<std::string, std::string>;

/// A disk without mercy. What was done to a directory is applied to it; a loss of power may come at any time, and then
/// of all that was not flushed any part may be there: writes whole, not at all, or some of their 512-byte sectors, in
/// any order; files with their new size and nothing in it; names made, replaced and removed, or not. A flush of a file
/// that fails drops all that it should have written.
class Disk {
 public:
  void apply(const FileOperation& operation) {
    const bool concernsNames = operation.kind == Kind::kCreate || operation.kind == Kind::kRename ||
                               operation.kind == Kind::kExchange || operation.kind == Kind::kRemove ||
                               operation.kind == Kind::kFlushDirectory;
    File& file = files_[operation.file];
    Operations& pending = concernsNames ? pendingNames_ : file.pending;
    if (operation.kind == Kind::kFailedFlush) return pending.clear();
    if (!isFlush(operation)) return pending.push_back(operation);
    for (const FileOperation& done : pending) concernsNames ? apply(names_, done) : apply(file.content, done);
    pending.clear();
  }

  /// What may be found after a loss of power now, while `interrupted` was being done.
  DiskState afterPowerLoss(const FileOperation& interrupted, std::mt19937& random) const {
    Disk disk = *this;
    if (!isFlush(interrupted)) disk.apply(interrupted);
    return disk.state(&random);
  }

  /// Without a loss of power.
  DiskState now() const { return state(nullptr); }

 private:
  using Kind = FileOperation::Kind;
  using Operations = std::vector<FileOperation>;
  using Names = std::map<std::string, std::uint32_t>;

  struct File {
    /// What is on the disk.
    std::string content;
    /// Writes and truncations, oldest first.
    Operations pending;
  };

  static bool isFlush(const FileOperation& operation) {
    return operation.kind == Kind::kFlush || operation.kind == Kind::kFlushDirectory;
  }

  static std::uint32_t below(std::mt19937& random, std::size_t end) {
    return static_cast<std::uint32_t>(random() % end);
  }

  static void apply(Names& names, const FileOperation& operation) {
    if (operation.kind == Kind::kExchange) {
      names[operation.name] = operation.otherFile;
      names[operation.newName] = operation.file;
      return;
    }
    // A name goes only as long as it is still that file's.
    const auto old = names.find(operation.name);
    if (operation.kind != Kind::kCreate && old != names.end() && old->second == operation.file) names.erase(old);
    if (operation.kind == Kind::kRename) names[operation.newName] = operation.file;
    if (operation.kind == Kind::kCreate) names[operation.name] = operation.file;
  }

  /// With `torn`, any of its sectors.
  static void apply(std::string& content, const FileOperation& operation, std::mt19937* torn = nullptr) {
    if (operation.kind == Kind::kTruncate) {
      content.resize(std::min<std::size_t>(content.size(), operation.offset));
      return;
    }
    constexpr std::size_t kSector = 512;
    const std::size_t end = operation.offset + operation.data.size();
    // The size may have reached the disk ahead of the bytes.
    if (torn == nullptr || below(*torn, 2) == 0) content.resize(std::max(content.size(), end), '\0');
    for (std::size_t at = operation.offset, next = at; at < end; at = next) {
      next = torn == nullptr ? end : std::min(end, (at / kSector + 1) * kSector);
      if (torn != nullptr && below(*torn, 2) == 0) continue;
      content.resize(std::max(content.size(), next), '\0');
      content.replace(at, next - at, operation.data, at - operation.offset, next - at);
    }
  }

  /// Those that survive, in their order: none, all, the first ones, or any.
  static Operations survivors(Operations pending, std::mt19937* random) {
    const std::uint32_t choice = random == nullptr ? 3 : below(*random, 4);
    if (choice == 0) pending.clear();
    if (choice == 1) pending.resize(below(*random, pending.size() + 1));
    if (choice == 2) std::erase_if(pending, [random](const FileOperation&) { return below(*random, 2) == 0; });
    return pending;
  }

  /// What is found; with `random`, after a loss of power.
  DiskState state(std::mt19937* random) const {
    Names names = names_;
    for (const FileOperation& change : survivors(pendingNames_, random)) apply(names, change);
    DiskState state;
    for (const auto& [name, number] : names) {
      const File& file = files_.at(number);
      std::string& content = state[name] = file.content;
      Operations kept = survivors(file.pending, random);
      const bool inOrder = random == nullptr || below(*random, 2) == 0;
      if (!inOrder) std::shuffle(kept.begin(), kept.end(), *random);
      for (const FileOperation& operation : kept) {
        apply(content, operation, inOrder || below(*random, 3) == 0 ? nullptr : random);
      }
    }
    return state;
  }

  std::map<std::uint32_t, File> files_;
  Names names_;
  Operations pendingNames_;
};

}  // namespace test
