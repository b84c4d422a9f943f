#include "tests/durability/Disk.h"

#include <algorithm>

namespace test {
namespace {

std::uint32_t below(std::mt19937& random, std::uint32_t end) {
  return static_cast<std::uint32_t>(random() % end);
}

/// Those that survive, in their order: none, all, the first ones, or any.
std::vector<FileOperation> survivors(std::vector<FileOperation> pending, std::mt19937& random) {
  switch (below(random, 4)) {
    case 0:
      pending.clear();
      break;
    case 1:
      pending.resize(below(random, static_cast<std::uint32_t>(pending.size() + 1)));
      break;
    case 2:
      std::erase_if(pending, [&random](const FileOperation&) { return below(random, 2) == 0; });
      break;
    default:
      break;
  }
  return pending;
}

}  // namespace

void Disk::Names::apply(const FileOperation& operation) {
  if (operation.kind == Kind::kRename || operation.kind == Kind::kRemove) {
    // Only as long as the name is still that file's.
    const auto old = files.find(operation.name);
    if (old != files.end() && old->second == operation.file) files.erase(old);
  }
  if (operation.kind == Kind::kRename) files[operation.newName] = operation.file;
  if (operation.kind == Kind::kCreate) files[operation.name] = operation.file;
}

bool Disk::changesNames(const FileOperation& operation) {
  return operation.kind == Kind::kCreate || operation.kind == Kind::kRename || operation.kind == Kind::kRemove;
}

void Disk::apply(std::string& content, const FileOperation& operation) {
  if (operation.kind == Kind::kTruncate) {
    content.clear();
    return;
  }
  const std::size_t end = operation.offset + operation.data.size();
  if (content.size() < end) content.resize(end, '\0');
  content.replace(operation.offset, operation.data.size(), operation.data);
}

void Disk::applyPart(std::string& content, const FileOperation& operation, std::mt19937& random) {
  if (operation.kind == Kind::kTruncate || below(random, 3) == 0) {
    apply(content, operation);
    return;
  }
  // The size may have reached the disk ahead of the bytes.
  const std::size_t end = operation.offset + operation.data.size();
  if (below(random, 2) == 0 && content.size() < end) content.resize(end, '\0');
  for (std::size_t at = operation.offset; at < end;) {
    const std::size_t next = std::min(end, (at / kSector + 1) * kSector);
    if (below(random, 2) == 0) {
      if (content.size() < next) content.resize(next, '\0');
      content.replace(at, next - at, operation.data, at - operation.offset, next - at);
    }
    at = next;
  }
}

std::string Disk::survivor(const File& file, std::mt19937& random) {
  std::string content = file.durable;
  auto kept = survivors(file.pending, random);
  const bool whole = below(random, 2) == 0;
  if (!whole) std::shuffle(kept.begin(), kept.end(), random);
  for (const FileOperation& operation : kept) {
    if (whole) {
      apply(content, operation);
    } else {
      applyPart(content, operation, random);
    }
  }
  return content;
}

void Disk::apply(const FileOperation& operation) {
  File& file = files_[operation.file];
  switch (operation.kind) {
    case Kind::kCreate:
    case Kind::kRename:
    case Kind::kRemove:
      pendingNames_.push_back(operation);
      return;
    case Kind::kWrite:
    case Kind::kTruncate:
      file.pending.push_back(operation);
      if (!operation.durable) return;
      [[fallthrough]];
    case Kind::kFlush:
      for (const FileOperation& pending : file.pending) apply(file.durable, pending);
      file.pending.clear();
      return;
    case Kind::kFlushDirectory:
      for (const FileOperation& pending : pendingNames_) durableNames_.apply(pending);
      pendingNames_.clear();
      return;
  }
}

DiskState Disk::afterPowerLoss(const FileOperation& interrupted, std::mt19937& random) const {
  auto nameChanges = pendingNames_;
  if (changesNames(interrupted)) nameChanges.push_back(interrupted);
  Names names = durableNames_;
  for (const FileOperation& change : survivors(nameChanges, random)) names.apply(change);

  DiskState state;
  for (const auto& [name, number] : names.files) {
    const auto found = files_.find(number);
    File file = found == files_.end() ? File() : found->second;
    const bool isWritten = interrupted.kind == Kind::kWrite || interrupted.kind == Kind::kTruncate;
    if (isWritten && interrupted.file == number) file.pending.push_back(interrupted);
    state[name] = file.pending.empty() ? std::move(file.durable) : survivor(file, random);
  }
  return state;
}

DiskState Disk::now() const {
  Names names = durableNames_;
  for (const FileOperation& change : pendingNames_) names.apply(change);
  DiskState state;
  for (const auto& [name, number] : names.files) {
    std::string content = files_.at(number).durable;
    for (const FileOperation& operation : files_.at(number).pending) apply(content, operation);
    state[name] = std::move(content);
  }
  return state;
}

}  // namespace test
