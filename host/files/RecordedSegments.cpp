#include "host/files/RecordedSegments.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "host/errors.h"
#include "host/files/inFile.h"
#include "host/files/smallFiles.h"
#include "platform/container/reading/SegmentError.h"

namespace host {

using namespace krvo::container;
using ruvo::k2r::AfraEntry;

namespace {

/// Runs `read` on the content of a small file. Throws CommandError, with the file's name, if it is malformed.
template <typename Read>
auto readNamed(const RecordingDirectory& directory, const std::string& name, const Read& read) {
  const std::string path = directory.pathOf(name);
  return inFile(path, [&] { return read(readSmallFile(path)); });
}

RecordedSegment readIndexFile(const RecordingDirectory& directory, std::uint32_t number, std::uint64_t endMs) {
  RecordedSegment segment{.number = number, .fragments = {}};
  const auto index =
      readNamed(directory, directory.indexName(number), [](const auto& bytes) { return parseAfra(bytes); });
  std::copy_if(index.globalEntries.begin(), index.globalEntries.end(), std::back_inserter(segment.fragments),
               [endMs](const AfraEntry& entry) { return entry.isWritten() && entry.time < endMs; });
  return segment;
}

/// Reads bootstrap and indexes. `attempt` calls the function that reads one file, and handles its errors.
/// `endWithoutBootstrap` in ms limits the fragments if there is no bootstrap.
template <typename Attempt>
RecordedContent readContent(const RecordingDirectory& directory, std::uint64_t endWithoutBootstrap,
                            const Attempt& attempt) {
  if (directory.empty()) throw CommandError(fmt::format("'{}' contains no recording", directory.path));
  // A pipe or a folder with the name of an index is not read, and must not pass for an index that is not there.
  attempt([&] {
    if (directory.irregular.empty()) return;
    throw CommandError(fmt::format("'{}' is not a regular file", directory.pathOf(directory.irregular.front())));
  });
  RecordedContent content;
  std::uint64_t endMs = endWithoutBootstrap;
  attempt([&] {
    if (!directory.hasBootstrap) return;
    const auto bootstrap =
        readNamed(directory, directory.bootstrapName(), [](const auto& bytes) { return parseBootstrap(bytes); });
    content.stopped = isStopped(bootstrap);
    content.endMs = endMs = bootstrap.currentMediaTime;
  });
  // After the bootstrap, against the order in which a recorder writes: what comes meanwhile has times beyond `endMs`.
  for (const std::uint32_t number : directory.indexes) {
    attempt([&] {
      RecordedSegment segment = readIndexFile(directory, number, endMs);
      if (!segment.fragments.empty()) content.segments.push_back(std::move(segment));
    });
  }
  return content;
}

}  // namespace

RecordedContent readRecordedContent(const RecordingDirectory& directory) {
  // Without a bootstrap nothing is announced yet.
  return readContent(directory, 0, [](const auto& read) { read(); });
}

RecordedContent readRecordedContent(const RecordingDirectory& directory, std::vector<std::string>& faults) {
  return readContent(directory, UINT64_MAX, [&faults](const auto& read) {
    try {
      read();
    } catch (const CommandError& error) {
      faults.emplace_back(error.what());
    }
  });
}

bool hasSegmentHeader(const std::string& path) {
  try {
    const OpenSegment segment(path);
    return true;
  } catch (const SegmentError&) {
    return false;
  }
}

}  // namespace host
