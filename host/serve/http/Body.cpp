#include "host/serve/http/Body.h"

#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace host::serve {
namespace {

std::size_t readFile(int descriptor, std::uint64_t offset, std::span<std::byte> out) {
  const auto count =
      platform::os::retried([&] { return ::pread(descriptor, out.data(), out.size(), static_cast<off_t>(offset)); });
  if (count < 0) throw std::system_error(errno, std::generic_category(), "cannot read a file that is sent");
  if (count == 0) throw std::system_error(EIO, std::generic_category(), "a file that is sent became shorter");
  return static_cast<std::size_t>(count);
}

/// What is in the page cache. 0 also for a file system that does not know the flag, and for any failure.
std::size_t readCached(int descriptor, std::uint64_t offset, std::span<std::byte> out) {
  const iovec span{.iov_base = out.data(), .iov_len = out.size()};
  const auto count =
      platform::os::retried([&] { return ::preadv2(descriptor, &span, 1, static_cast<off_t>(offset), RWF_NOWAIT); });
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

}  // namespace

std::span<const std::byte> Body::Piece::memory(std::uint64_t from) const {
  std::span<const std::byte> all;
  if (const auto* text = std::get_if<std::shared_ptr<const std::string>>(&content))
    all = std::as_bytes(std::span(**text));
  if (const auto* bytes = std::get_if<std::shared_ptr<const std::vector<std::byte>>>(&content)) all = **bytes;
  return all.subspan(skip + from, size - from);
}

void Body::append(Piece piece) {
  if (piece.size == 0) return;
  piece.start = size_;
  size_ += piece.size;
  pieces_.push_back(std::move(piece));
}

void Body::add(std::string text) {
  const std::uint64_t size = text.size();
  append({.size = size, .content = std::make_shared<const std::string>(std::move(text))});
}

void Body::add(std::vector<std::byte> bytes) {
  add(std::make_shared<const std::vector<std::byte>>(std::move(bytes)));
}

void Body::add(std::shared_ptr<const std::vector<std::byte>> bytes) {
  const std::uint64_t size = bytes->size();
  append({.size = size, .content = std::move(bytes)});
}

void Body::add(File file, std::uint64_t offset, std::uint64_t size) {
  append({.size = size, .content = Span{.file = std::move(file), .offset = offset}});
}

void Body::addMemory(File file, std::uint64_t offset, std::uint64_t size) {
  append({.size = size, .content = Span{.file = std::move(file), .offset = offset, .isMemory = true}});
}

const Body::Span* Body::memorySpan() const {
  const auto* const span = pieces_.size() == 1 ? std::get_if<Span>(&pieces_.front().content) : nullptr;
  return span != nullptr && span->isMemory ? span : nullptr;
}

std::size_t Body::pieceAt(std::uint64_t offset) const {
  const auto after = std::ranges::upper_bound(pieces_, offset, {}, &Piece::start);
  return static_cast<std::size_t>(after - pieces_.begin()) - 1;
}

/// `readFile` returns how many bytes it read, which may be fewer than asked for; 0 ends the reading.
template <typename ReadFile>
std::size_t Body::readWith(const ReadFile& readFile, std::uint64_t offset, std::span<std::byte> out) const {
  std::size_t done = 0;
  while (done < out.size() && offset + done < size_) {
    const Piece& piece = pieces_[pieceAt(offset + done)];
    const std::uint64_t from = offset + done - piece.start;
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(out.size() - done, piece.size - from));
    const auto target = out.subspan(done, count);
    if (const auto* span = std::get_if<Span>(&piece.content)) {
      const std::size_t got = readFile(span->file->get(), span->offset + from, target);
      if (got == 0) return done;
      done += got;
    } else {
      std::ranges::copy(piece.memory(from).first(count), target.begin());
      done += count;
    }
  }
  return done;
}

std::size_t Body::read(std::uint64_t offset, std::span<std::byte> out) const {
  return readWith(readFile, offset, out);
}

std::optional<std::size_t> Body::readReady(std::uint64_t offset, std::span<std::byte> out) const {
  const std::size_t count = readWith(readCached, offset, out);
  const bool isEnd = out.empty() || offset >= size_;
  return count != 0 || isEnd ? std::optional(count) : std::nullopt;
}

Body Body::slice(std::uint64_t from, std::uint64_t count) const {
  Body result;
  for (const Piece& piece : pieces_) {
    const std::uint64_t begin = std::max(from, piece.start);
    const std::uint64_t end = std::min(from + count, piece.start + piece.size);
    if (begin >= end) continue;
    Piece part = piece;
    part.size = end - begin;
    if (auto* span = std::get_if<Span>(&part.content)) {
      span->offset += begin - piece.start;
    } else {
      part.skip += begin - piece.start;
    }
    result.append(std::move(part));
  }
  return result;
}

}  // namespace host::serve
