#include "platform/container/Stream.h"

#include <algorithm>

#include "platform/container/status.h"
#include "util/narrow.h"

namespace krvo::container {
namespace {

constexpr std::uint32_t kFromStart = 0;
constexpr std::uint32_t kFromEnd = 2;
/// Bytes of one call at most. Hosts count them in 31 bits.
constexpr std::uint64_t kMaxTransfer = std::uint64_t{1} << 30;

bool isComplete(const KrvoK2MIOStreamCallBacks& table) {
  return table.size == sizeof(table) && table.addReference != nullptr && table.release != nullptr &&
         table.open != nullptr && table.close != nullptr && table.read != nullptr && table.seek != nullptr &&
         table.tell != nullptr && table.write != nullptr && table.flush != nullptr;
}

/// Moves all of `bytes`, in as many calls as needed, and passes the number of each call to `progress`. A call that
/// moves none throws `failure`.
template <typename Byte, typename Call, typename Progress>
void transfer(std::span<Byte> bytes, KrvoStatus failure, const Call& call, const Progress& progress) {
  while (!bytes.empty()) {
    const std::uint64_t count = std::min<std::uint64_t>(bytes.size(), kMaxTransfer);
    std::uint64_t done = 0;
    const KrvoStatus status = call(bytes.data(), count, &done);
    done = std::min(done, count);
    progress(done);  // before the check: a call that fails may have moved some bytes
    check(status);
    require(done != 0, failure);
    bytes = bytes.subspan(static_cast<std::size_t>(done));
  }
}

}  // namespace

Stream::Stream(const KrvoK2MIOStreamCallBacks& callBacks) : callBacks_(callBacks) {
  require(isComplete(callBacks_));
  check(callBacks_.addReference(callBacks_.context));
  try {
    check(callBacks_.open(callBacks_.context));
    check(callBacks_.seek(callBacks_.context, 0, kFromEnd));
    check(callBacks_.tell(callBacks_.context, &size_));
  } catch (...) {
    // Without an object there is no destructor that would give the reference back.
    callBacks_.release(callBacks_.context);
    throw;
  }
}

Stream::~Stream() {
  callBacks_.release(callBacks_.context);
}

void Stream::read(std::uint64_t offset, std::span<std::byte> out) {
  // Checked here, so that a damaged offset is an error of the file on every host.
  require(out.size() <= size_ && offset <= size_ - out.size(), kKrvoReadFailed);
  seek(offset);
  const auto call = [this](std::byte* at, std::uint64_t count, std::uint64_t* done) {
    return callBacks_.read(callBacks_.context, at, count, done);
  };
  transfer(out, kKrvoReadFailed, call, [](std::uint64_t) {});
}

void Stream::write(std::uint64_t offset, std::span<const std::byte> bytes) {
  if (bytes.empty()) return;  // no bytes would count as a failed write below
  seek(offset);
  const auto call = [this](const std::byte* at, std::uint64_t count, std::uint64_t* done) {
    return callBacks_.write(callBacks_.context, at, count, done);
  };
  transfer(bytes, kKrvoWriteFailed, call, [this, &offset](std::uint64_t done) {
    offset += done;
    size_ = std::max(size_, offset);
  });
}

void Stream::flush() {
  check(callBacks_.flush(callBacks_.context));
}

void Stream::seek(std::uint64_t offset) {
  check(callBacks_.seek(callBacks_.context, qvs::util::narrow<std::int64_t>(offset), kFromStart));
}

}  // namespace krvo::container
