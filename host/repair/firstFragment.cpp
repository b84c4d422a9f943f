#include "host/repair/firstFragment.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/errors.h"
#include "host/files/FileView.h"
#include "host/files/inFile.h"
#include "host/files/smallFiles.h"
#include "platform/container/reading/fragmentReader.h"
#include "platform/os/durableFiles.h"

namespace host {
namespace {

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
  inFile(path, [&] {
    FileView file(path);
    const auto abst = krvo::container::locateFragment(file, first->afraOffset).abst;
    // The fragment has it in the form of the file.
    const auto image = loadBox(file, abst);
    parseBootstrap(image, abst.offset);
    replaceSmallFile(directory.pathOf(directory.bootstrapName()), image);
  });
}

void removeUnfinished(const RecordingDirectory& directory) {
  for (const auto number : directory.indexes) removeDurably(directory.pathOf(directory.indexName(number)));
  for (const auto number : directory.segments) removeDurably(directory.pathOf(directory.segmentName(number)));
  const std::string control = directory.pathOf(directory.controlName());
  if (directory.hasControl && readSmallFile(control).size() != kControlFileSize) removeDurably(control);
}

}  // namespace host
