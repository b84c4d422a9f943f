#include "host/repair/firstFragment.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/errors.h"
#include "host/files/FileView.h"
#include "host/files/smallFiles.h"
#include "platform/container/SegmentError.h"
#include "platform/container/fragmentReader.h"
#include "platform/os/durableFiles.h"

namespace host {
namespace {

void replaceDurably(const std::string& path, std::span<const std::byte> content) {
  const std::string temporary = path + ".tmp";
  if (!platform::os::writeFile(temporary, content) || !platform::os::replaceFile(temporary, path)) {
    throw CommandError(fmt::format("cannot write '{}'", path));
  }
}

void removeDurably(const std::string& path) {
  if (!platform::os::removeFile(path)) throw CommandError(fmt::format("cannot remove '{}'", path));
}

}  // namespace

void restoreFirstBootstrap(const RecordingDirectory& directory) {
  const std::uint32_t segment = *directory.indexes.begin();
  const auto index = parseAfra(readSmallFile(directory.pathOf(directory.indexName(segment))));
  const auto& entries = index.globalEntries;
  const auto first = std::find_if(entries.begin(), entries.end(), [](const auto& entry) { return entry.isWritten(); });
  if (first == entries.end()) throw CommandError("the index names no fragment");
  const std::string path = directory.pathOf(directory.segmentName(segment));
  try {
    FileView file(path);
    const auto abst = krvo::container::locateFragment(file, first->afraOffset).abst;
    // The fragment has it in the form of the file.
    const auto image = loadBox(file, abst);
    parseBootstrap(image, abst.offset);
    replaceDurably(directory.pathOf(directory.bootstrapName()), image);
  } catch (const krvo::container::SegmentError& error) {
    throw CommandError(fmt::format("'{}', offset {}: {}", path, error.offset(), error.fault()));
  }
}

void removeUnfinished(const RecordingDirectory& directory) {
  for (const auto number : directory.indexes) removeDurably(directory.pathOf(directory.indexName(number)));
  for (const auto number : directory.segments) removeDurably(directory.pathOf(directory.segmentName(number)));
  const std::string control = directory.pathOf(directory.controlName());
  if (directory.hasControl && readSmallFile(control).size() != kControlFileSize) removeDurably(control);
}

}  // namespace host
