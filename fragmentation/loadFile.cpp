#include "fragmentation/loadFile.h"

#include <algorithm>
#include <array>
#include <deque>
#include <fstream>

#include "fragmentation/K2RUtilException.h"
#include "platform/os/paths.h"
#include "platform/os/wipe.h"

namespace ruvo::k2r {
namespace {

constexpr std::size_t kBlockSize = 1024;
/// Bytes. Far above any key or certificate; a device without an end must not fill the memory.
constexpr std::uint64_t kLongestFile = std::uint64_t{16} << 20;
constexpr std::uint32_t kReadFailed = 2;

/// The file as it is read. A deque, since blocks must not move: a growing vector would leave copies of a key in memory
/// that it has freed. Wiped by the destructor, also when reading throws.
struct SecretBlocks {
  SecretBlocks() = default;
  ~SecretBlocks() {
    for (auto& block : blocks) platform::os::wipe(block);
  }
  SecretBlocks(const SecretBlocks&) = delete;
  SecretBlocks& operator=(const SecretBlocks&) = delete;

  std::deque<std::array<std::byte, kBlockSize>> blocks;
};

qvs::util::ByteBuffer join(const SecretBlocks& content, std::uint64_t size) {
  qvs::util::ByteBuffer joined(size);
  platform::os::keepPrivate({joined.data(), static_cast<std::size_t>(size)});
  std::byte* to = joined.data();
  for (const auto& block : content.blocks) {
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(size, kBlockSize));
    to = std::copy_n(block.begin(), count, to);
    size -= count;
  }
  return joined;
}

}  // namespace

qvs::util::ByteBuffer loadFile(const std::string& path) {
  std::ifstream in;
  // Before open(), or it has no effect: the freed buffer of the stream would still contain what was read.
  in.rdbuf()->pubsetbuf(nullptr, 0);
  in.open(platform::os::toNative(path), std::ios::binary);
  if (!in) throw CantOpenFileException(path);
  SecretBlocks content;
  std::uint64_t size = 0;
  while (in) {
    auto& block = content.blocks.emplace_back();
    platform::os::keepPrivate(block);
    in.read(reinterpret_cast<char*>(block.data()), kBlockSize);
    size += static_cast<std::uint64_t>(in.gcount());
    if (size > kLongestFile) throw K2RUtilFileException(kReadFailed, "File is too long", path);
  }
  if (in.bad()) throw K2RUtilFileException(kReadFailed, "Cannot read file", path);
  return join(content, size);
}

}  // namespace ruvo::k2r
