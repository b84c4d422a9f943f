#include "tests/durability/Reference.h"

#include "host/files/FileView.h"
#include "host/files/RecordingDirectory.h"
#include "host/files/SegmentMap.h"
#include "host/files/smallFiles.h"
#include "util/bytes.h"

namespace test {
namespace {

constexpr const char* kBootstrap = "cam1.bootstrap";

bool isIndex(const std::string& name) {
  return name.ends_with(".k2i");
}

std::vector<ruvo::k2r::AfraEntry> writtenEntries(const std::string& image) {
  auto entries = host::parseAfra(qvs::util::asBytes(image)).globalEntries;
  std::erase_if(entries, [](const auto& entry) { return !entry.isWritten(); });
  return entries;
}

std::string describe(const FragmentName& fragment) {
  return "fragment " + std::to_string(fragment.second) + " in segment " + std::to_string(fragment.first);
}

}  // namespace

std::string segmentName(std::uint32_t number) {
  return "cam1Seg" + std::to_string(number) + ".k2r";
}

Reference::Reference(const std::vector<FileOperation>& operations, const std::filesystem::path& directory) {
  Disk disk;
  for (const FileOperation& operation : operations) {
    disk.apply(operation);
    if (operation.kind != FileOperation::Kind::kRename) continue;
    const DiskState state = disk.now();
    const std::string& content = state.at(operation.newName);
    if (isIndex(operation.newName)) indexes_[operation.newName].insert(content);
    if (operation.newName != kBootstrap) continue;
    for (const auto& [fragment, position] : namedIn(state)) bootstraps_[content].insert(fragment);
  }
  last_ = disk.now();
  readSegments(directory);
}

void Reference::readSegments(const std::filesystem::path& directory) {
  for (const std::uint32_t number : host::readRecordingDirectory(directory.string()).segments) {
    host::FileView file((directory / segmentName(number)).string());
    for (const auto& fragment : host::mapSegment(file).fragments) {
      sizes_[{number, fragment.position()}] = fragment.end() - fragment.position();
    }
  }
}

std::map<FragmentName, std::uint64_t> Reference::namedIn(const DiskState& state) const {
  std::map<FragmentName, std::uint64_t> named;
  for (const auto& [name, content] : state) {
    if (!isIndex(name)) continue;
    for (const auto& entry : writtenEntries(content)) named[{entry.segment, entry.fragment}] = entry.afraOffset;
  }
  return named;
}

std::string_view Reference::fragment(std::uint32_t segment, std::uint64_t position) const {
  const auto size = sizes_.find({segment, position});
  if (size == sizes_.end()) return {};
  return std::string_view(last_.at(segmentName(segment))).substr(position, size->second);
}

std::string Reference::indexFault(const DiskState& state, const std::string& name) const {
  const auto known = indexes_.find(name);
  const std::string& content = state.at(name);
  if (known == indexes_.end() || !known->second.contains(content)) return name + ": was never like this";
  for (const auto& entry : writtenEntries(content)) {
    const std::string_view expected = fragment(entry.segment, entry.afraOffset);
    const auto segment = state.find(segmentName(entry.segment));
    if (expected.empty() || segment == state.end() || segment->second.size() < entry.afraOffset + expected.size() ||
        std::string_view(segment->second).substr(entry.afraOffset, expected.size()) != expected) {
      return name + ": " + describe({entry.segment, entry.fragment}) + " is not there as it was recorded";
    }
  }
  return {};
}

std::string Reference::bootstrapFault(const DiskState& state) const {
  const auto found = state.find(kBootstrap);
  if (found == state.end()) return {};
  const auto known = bootstraps_.find(found->second);
  if (known == bootstraps_.end()) return std::string(kBootstrap) + ": was never like this";
  const auto named = namedIn(state);
  for (const FragmentName& fragment : known->second) {
    if (!named.contains(fragment)) return std::string(kBootstrap) + ": no index names " + describe(fragment);
  }
  for (const char* const name : {"cam1.control", "cam1.meta"}) {
    const auto file = state.find(name);
    if (file == state.end() || file->second != last_.at(name)) return std::string(name) + ": not as it was written";
  }
  return {};
}

std::string Reference::faultOf(const DiskState& state) const {
  for (const auto& [name, content] : state) {
    if (!isIndex(name)) continue;
    const std::string fault = indexFault(state, name);
    if (!fault.empty()) return fault;
  }
  return bootstrapFault(state);
}

}  // namespace test
