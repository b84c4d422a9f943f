#include "util/AutoFile.h"

#include <algorithm>
#include <limits>
#include <string>
#include <string_view>
#include <utility>

#include "platform/os/openFlags.h"
#include "util/NQStrUtil.h"

namespace qvs::util {
namespace {

using namespace platform::os;

// The interface takes 64-bit sizes, the buffer has 32-bit ones.
constexpr std::uint64_t kMaxSize = std::numeric_limits<std::uint32_t>::max();

template <typename Number>
[[noreturn]] void fail(std::string_view what, Number number) {
  throw FileReadException(NQString(std::string_view(std::string(what) + std::to_string(number))));
}

/// Owns a handle of the host's file services; -1 if the host refused. Closes it also when something throws.
class HostFile {
 public:
  HostFile(IMOFileContext* context, const NQNarrowString& path, std::uint32_t flags)
      : context_(context), handle_(context->open(path.c_str(), flags, kOwnerReadsAndWrites, 0)) {}
  ~HostFile() {
    if (handle_ != -1) context_->close(handle_, 0);
  }
  HostFile(const HostFile&) = delete;
  HostFile& operator=(const HostFile&) = delete;

  std::int32_t handle() const { return handle_; }

 private:
  IMOFileContext* context_;
  std::int32_t handle_;
};

/// A window with the same offsets on a block that nothing else refers to. Sharing the block would not do: when it
/// grows, its bytes move, and other windows on it would point to freed memory.
NQBuffer copyOf(const NQBuffer& source) {
  if (!source.memory()) return {};
  NQBuffer copy(NQMemoryPtr::make(source.capacity()));
  std::copy_n(source.data(), source.end(), copy.data());
  // The end first: setStart() refuses a start after the end.
  copy.setEnd(source.end());
  copy.setStart(source.start());
  return copy;
}

}  // namespace

AutoFileLoad::AutoFileLoad(const NQString& path, IMOFileContext* fileContext) {
  const NQNarrowString narrowPath = toNarrow(path.view());
  const HostFile file(fileContext, narrowPath, kOpenBinary);
  IMOFileStatus status;
  if (file.handle() == -1 || fileContext->fileStatus(file.handle(), &status, 0) != 0) {
    throw FileReadException(NQString(std::string_view("Could not open file:" + std::string(narrowPath.view()))));
  }
  if (!std::in_range<std::uint32_t>(status.size)) {
    fail("Read buffer size too large to initialize, size = ", status.size);
  }
  const auto size = static_cast<std::uint32_t>(status.size);
  if (size == 0) return;
  buffer_.attach(NQMemoryPtr::make(size));
  // The result of read() is not looked at, and the end is the size of the file. What the host does not deliver has to
  // be zeros then, and not old memory.
  std::fill_n(buffer_.data(), size, std::byte{0});
  fileContext->read(file.handle(), 0, buffer_.data(), size);
  buffer_.setEnd(size);
}

void AutoFileLoad::read(void* bytes, std::uint64_t size) {
  if (size > kMaxSize) fail("Read from buffer size too large, size = ", size);
  const auto left = buffer_.window();
  const auto count = static_cast<std::uint32_t>(std::min<std::uint64_t>(size, left.size()));
  std::copy_n(left.data(), count, static_cast<std::byte*>(bytes));
  buffer_.setStart(buffer_.start() + count);
  if (count < size) fail("Failed to read file buffer, bytesRead = ", count);
}

AutoFileSave::AutoFileSave(NQString path, IMOFileContext* fileContext, std::uint32_t initialSize)
    : path_(std::move(path)), buffer_(NQMemoryPtr::make(initialSize)), fileContext_(fileContext) {}

AutoFileSave::AutoFileSave(NQString path, IMOFileContext* fileContext, const NQBuffer& content)
    : path_(std::move(path)), buffer_(copyOf(content)), fileContext_(fileContext) {}

void AutoFileSave::write(const void* bytes, std::uint64_t size) {
  if (size > kMaxSize) fail("Write buffer size too large, size = ", size);
  makeRoom(size);
  const auto count = static_cast<std::uint32_t>(std::min<std::uint64_t>(size, buffer_.room()));
  std::copy_n(static_cast<const std::byte*>(bytes), count, buffer_.data() + buffer_.end());
  buffer_.setEnd(buffer_.end() + count);
  if (count < size) fail("Could not write to file buffer, bytesWritten = ", count);
}

void AutoFileSave::makeRoom(std::uint64_t size) {
  while (size > buffer_.room()) {
    const std::uint32_t capacity = buffer_.capacity();
    // In 32 bits: a product that is not larger, from 0 or from 2 GiB on, ends the loop.
    const std::uint32_t doubled = capacity * 2;
    if (doubled <= capacity || !buffer_.resize(doubled)) {
      fail("Failed to grow write buffer from oldSize " + std::to_string(capacity) + " to newSize ", doubled);
    }
  }
}

void AutoFileSave::commit() const {
  const NQNarrowString narrowPath = toNarrow(path_.view());
  IMOFileStatus status;
  if (fileContext_->pathStatus(narrowPath.c_str(), &status, 0) != 0) makeDirectory();
  const HostFile file(fileContext_, narrowPath, kOpenBinary | kOpenTruncate | kOpenCreate | kOpenWriteOnly);
  // No check of the handle: the host refuses to write to -1, and its error code goes into the text.
  const std::int32_t written = fileContext_->write(file.handle(), 0, buffer_.data(), buffer_.end());
  if (written < 0) fail("FileIO write failed, errorCode = ", written);
  if (static_cast<std::uint32_t>(written) != buffer_.end()) fail("FileIO write failed, bytesWritten = ", written);
}

void AutoFileSave::makeDirectory() const {
  // One level only, and cut at a backslash: a path with slashes alone has no directory part here.
  const NQString directory = splitPath(path_).directory;
  if (!directory.empty()) fileContext_->createDirectory(toNarrow(directory.view()).c_str());
}

}  // namespace qvs::util
