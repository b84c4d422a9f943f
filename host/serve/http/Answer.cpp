#include "host/serve/http/Answer.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <microhttpd.h>
#include <unistd.h>

#include <algorithm>
#include <memory>

namespace host::serve {
namespace {

/// Bytes that are handed to the network at once.
constexpr std::uint64_t kSendSize = 128 << 10;
/// Bytes that a worker reads at once: what is on a disk costs two thread switches.
constexpr std::size_t kDiskReadSize = 256 << 10;

/// Lets the library send by sendfile(2), on the network thread: from memory that never waits, and nothing is copied.
MHD_Response* fromMemory(const Body::Span& span, std::uint64_t size) {
  // The response closes it.
  const int copy = ::fcntl(span.file->get(), F_DUPFD_CLOEXEC, 0);
  if (copy == -1) return nullptr;
  MHD_Response* const result = MHD_create_response_from_fd_at_offset64(size, copy, span.offset);
  if (result == nullptr) ::close(copy);
  return result;
}

}  // namespace

MHD_Response* Answer::response(HttpParts& parts, MHD_Connection* connection, HttpResponse response) {
  const std::uint64_t size = response.body.size();
  MHD_Response* result = nullptr;
  if (size == 0) {
    result = MHD_create_response_from_buffer(0, nullptr, MHD_RESPMEM_PERSISTENT);
  } else if (const Body::Span* const span = response.body.memorySpan()) {
    result = fromMemory(*span, size);
  } else {
    auto answer = std::unique_ptr<Answer>(new Answer(parts, connection, std::move(response.body)));
    result = MHD_create_response_from_callback(size, static_cast<std::size_t>(std::min(size, kSendSize)), &readSome,
                                               answer.get(), &release);
    // The response owns it from here on.
    if (result != nullptr) static_cast<void>(answer.release());
  }
  if (result == nullptr) return nullptr;
  // A header with a line end in it is left out by the library.
  for (const auto& [name, value] : response.headers) MHD_add_response_header(result, name.c_str(), value.c_str());
  return result;
}

std::int64_t Answer::readSome(void* self, std::uint64_t offset, char* out, std::size_t size) {
  try {
    return static_cast<Answer*>(self)->read(offset, std::as_writable_bytes(std::span(out, size)));
  } catch (...) {
    // No exception may pass the library.
    return MHD_CONTENT_READER_END_WITH_ERROR;
  }
}

std::int64_t Answer::read(std::uint64_t offset, std::span<std::byte> out) {
  if (hasFailed_ || parts_.isStopping) return MHD_CONTENT_READER_END_WITH_ERROR;
  if (offset >= blockOffset_ && offset - blockOffset_ < block_.size()) {
    const auto rest = std::span(block_).subspan(static_cast<std::size_t>(offset - blockOffset_));
    const auto part = rest.first(std::min(rest.size(), out.size()));
    std::ranges::copy(part, out.begin());
    return static_cast<std::int64_t>(part.size());
  }
  // A slow reader must not keep a block that is sent.
  block_ = {};
  if (const auto ready = body_.readReady(offset, out)) return static_cast<std::int64_t>(*ready);
  parts_.runOnWorker(connection_, [this, offset] { fillBlock(offset); });
  return 0;
}

void Answer::fillBlock(std::uint64_t offset) noexcept {
  try {
    block_.resize(static_cast<std::size_t>(std::min<std::uint64_t>(kDiskReadSize, body_.size() - offset)));
    block_.resize(body_.read(offset, block_));
    blockOffset_ = offset;
  } catch (const std::exception& error) {
    hasFailed_ = true;
    parts_.logLine(fmt::format("an answer was cut: {}", error.what()));
  }
}

}  // namespace host::serve
