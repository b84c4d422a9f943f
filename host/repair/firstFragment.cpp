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

/// Removes a file and flushes the directory.
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
    // A bootstrap in a fragment has the same form as the file, so its bytes are copied.
    const auto image = loadBox(file, abst);
    // Only to refuse one that is malformed.
    parseBootstrap(image, abst.offset);
    replaceSmallFile(directory.pathOf(directory.bootstrapName()), image);
  });
}

void removeUnfinished(const RecordingDirectory& directory) {
  // Indexes first: an interruption must not leave an index whose segment is gone.
  for (const auto number : directory.indexes) removeDurably(directory.pathOf(directory.indexName(number)));
  for (const auto number : directory.segments) removeDurably(directory.pathOf(directory.segmentName(number)));
  // Only a control file that was cut short: a whole one is valid, and a repair removes no more than it must.
  const std::string control = directory.pathOf(directory.controlName());
  if (directory.hasControl && readSmallFile(control).size() != kControlFileSize) removeDurably(control);
}

}  // namespace host
