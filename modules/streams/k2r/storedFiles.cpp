#include "modules/streams/k2r/storedFiles.h"

#include <ios>
#include <sstream>

#include "fragmentation/AfraBox.h"
#include "fragmentation/BootstrapReader.h"
#include "platform/os/durableFiles.h"
#include "util/bytes.h"

namespace qvs::k2r {
namespace {

/// Bytes of the largest file that is read into memory.
constexpr std::size_t kMaxSmallFile = std::size_t{256} << 20;

/// Fills a Value by `read`, which takes a stream.
template <typename Value, typename Read>
Value parse(std::span<const std::byte> content, const Read& read) {
  std::istringstream in(std::string(reinterpret_cast<const char*>(content.data()), content.size()));
  Value value;
  try {
    read(in, value);
  } catch (const std::ios_base::failure&) {
    throw util::MalformedInput("it ends too early");
  }
  return value;
}

/// Parses a whole file; the message names it.
template <typename Parse>
auto readWhole(const std::string& path, const Parse& parse) {
  const std::vector<std::byte> content = loadSmallFile(path);
  try {
    return parse(content);
  } catch (const util::MalformedInput& failure) {
    throw UnreadableFile(path, failure.message());
  }
}

}  // namespace

bool isThere(IMOFileContext& files, const std::string& path) {
  // A host that cannot find out returns another value, or -1 as well: then an append becomes a new recording.
  constexpr std::int32_t kMissing = -1;
  IMOFileStatus status;
  const std::int32_t result = files.pathStatus(path.c_str(), &status, 0);
  if (result != 0 && result != kMissing) throw UnreadableFile(path, "the host answers " + std::to_string(result));
  return result == 0;
}

std::vector<std::byte> loadStart(const std::string& path, std::size_t maxSize) {
  platform::os::FileStart start = platform::os::readFileStart(path, maxSize);
  if (start.error) throw UnreadableFile(path, start.error.message());
  return std::move(start.content);
}

std::vector<std::byte> loadSmallFile(const std::string& path) {
  // One byte more than allowed, to notice a larger file.
  std::vector<std::byte> content = loadStart(path, kMaxSmallFile + 1);
  if (content.size() > kMaxSmallFile) throw UnreadableFile(path, "it is larger than any of its kind");
  return content;
}

ruvo::k2r::BootstrapInfo parseBootstrap(std::span<const std::byte> content) {
  return parse<ruvo::k2r::BootstrapInfo>(content, ruvo::k2r::readBootstrap);
}

ruvo::k2r::AfraIndex parseIndex(std::span<const std::byte> content) {
  return parse<ruvo::k2r::AfraIndex>(content, ruvo::k2r::readAfra);
}

ruvo::k2r::BootstrapInfo readBootstrapFile(const std::string& path) {
  return readWhole(path, parseBootstrap);
}

ruvo::k2r::AfraIndex readIndexFile(const std::string& path) {
  return readWhole(path, parseIndex);
}

}  // namespace qvs::k2r
