#include "host/files/smallFiles.h"

#include <fmt/format.h>

#include <algorithm>
#include <sstream>

#include "fragmentation/AfraBox.h"
#include "fragmentation/BootstrapReader.h"
#include "fragmentation/BootstrapWriter.h"
#include "host/errors.h"
#include "host/files/Malformed.h"
#include "platform/container/reading/SegmentError.h"
#include "platform/os/durableFiles.h"
#include "util/bytes.h"

namespace host {
namespace {

/// Calls `read` with a stream of `bytes`. Turns its exceptions into Malformed, with the offset in the file.
template <typename Read>
void readFromStream(std::span<const std::byte> bytes, std::uint64_t offset, const char* what, Read read) {
  std::istringstream in(std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
  try {
    read(in);
  } catch (const std::ios_base::failure&) {
    // The bytes ended within a field: that is the only failure of the stream, as it is in memory.
    throw Malformed(offset + bytes.size(), fmt::format("the {} continues, but the bytes end here", what));
  } catch (const qvs::QVSException& error) {
    in.clear();
    throw Malformed(offset, fmt::format("{}: a box of another type or version than an {}'s", error.message(), what));
  }
}

}  // namespace

std::vector<std::byte> readSmallFile(const std::string& path) {
  auto bytes = platform::os::readFile(path, kMaxSmallFile);
  if (!bytes) throw CommandError(fmt::format("'{}' cannot be read", path));
  return *std::move(bytes);
}

void replaceSmallFile(const std::string& path, std::span<const std::byte> content) {
  // The name that the recorder gives its temporary files, so that an append removes one that a crash left.
  const std::string temporary = path + ".tmp";
  if (platform::os::writeFile(temporary, content) && platform::os::replaceFile(temporary, path)) return;
  platform::os::removeFile(temporary);
  throw CommandError(fmt::format("'{}' cannot be written", path));
}

std::vector<std::byte> loadBox(krvo::container::Source& file, const krvo::container::BoxSpan& box) {
  if (box.size > kMaxSmallFile) {
    throw krvo::container::SegmentError(box.offset, fmt::format("{} bytes are too large a box", box.size));
  }
  std::vector<std::byte> bytes(static_cast<std::size_t>(box.size));
  file.read(box.offset, bytes);
  return bytes;
}

ruvo::k2r::BootstrapInfo parseBootstrap(std::span<const std::byte> bytes, std::uint64_t offset) {
  ruvo::k2r::BootstrapInfo info;
  readFromStream(bytes, offset, "abst", [&info](std::istream& in) { readBootstrap(in, info); });
  return info;
}

ruvo::k2r::AfraIndex parseAfra(std::span<const std::byte> bytes, std::uint64_t offset) {
  ruvo::k2r::AfraIndex index;
  readFromStream(bytes, offset, "afra", [&index](std::istream& in) { readAfra(in, index); });
  return index;
}

std::uint32_t parseControl(std::span<const std::byte> bytes) {
  if (bytes.size() != kControlFileSize) {
    throw Malformed(std::min(bytes.size(), kControlFileSize),
                    fmt::format("{} bytes expected, found {}", kControlFileSize, bytes.size()));
  }
  return qvs::util::ByteReader(bytes).u32();
}

bool isStopped(const ruvo::k2r::BootstrapInfo& info) {
  if (info.fragmentRunTables.empty()) return false;
  // The mark is a run entry; a stop puts it at the end of the table.
  const auto& runs = info.fragmentRunTables.front().fragmentRuns;
  return !runs.empty() && runs.back().isEndOfPresentation();
}

std::vector<std::byte> imageOf(const ruvo::k2r::BootstrapInfo& info) {
  qvs::util::ByteWriter out;
  ruvo::k2r::appendBootstrap(out, info, false);
  return out.take();
}

std::vector<std::byte> imageOf(const ruvo::k2r::AfraIndex& index) {
  qvs::util::ByteWriter out;
  ruvo::k2r::appendAfra(out, index);
  return out.take();
}

std::optional<std::size_t> firstDifference(std::span<const std::byte> a, std::span<const std::byte> b) {
  const auto [inA, inB] = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
  if (inA == a.end() && inB == b.end()) return std::nullopt;
  return static_cast<std::size_t>(inA - a.begin());
}

}  // namespace host
