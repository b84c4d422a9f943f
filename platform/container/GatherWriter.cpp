#include "platform/container/GatherWriter.h"

#include <algorithm>

#include "platform/container/retention.h"

namespace krvo::container {
namespace {

std::size_t chunksFor(std::uint64_t bytes) {
  return static_cast<std::size_t>((bytes + StagingBuffer::kCapacity - 1) / StagingBuffer::kCapacity);
}

}  // namespace

void GatherWriter::add(std::span<const std::byte> piece) {
  if (piece.empty()) return;
  if (!spans_.empty()) {
    auto& last = spans_.back().bytes;
    // The queue cuts messages from large blocks, so neighbours in a fragment often touch in memory.
    if (last.data() + last.size() == piece.data()) {
      last = {last.data(), last.size() + piece.size()};
      return;
    }
  }
  growForOne(spans_);
  spans_.push_back({piece, false});
}

void GatherWriter::write(Stream& stream, std::uint64_t position) {
  chooseDirectSpans();
  for (auto span = spans_.begin(); span != spans_.end();) {
    const auto end =
        span->direct ? span + 1 : std::find_if(span, spans_.end(), [](const Span& next) { return next.direct; });
    position = writeStretch(stream, position, {span, end});
    span = end;
  }
  clear();
}

std::uint64_t GatherWriter::writeStretch(Stream& stream, std::uint64_t position, std::span<const Span> stretch) {
  const auto put = [&stream, &position](std::span<const std::byte> bytes) {
    stream.write(position, bytes);
    position += bytes.size();
  };
  // Nothing to gather: a single span is written from where it is.
  if (stretch.size() == 1) {
    put(stretch.front().bytes);
    return position;
  }
  std::uint64_t size = 0;
  for (const Span& span : stretch) size += span.bytes.size();
  staging_.reserve(static_cast<std::size_t>(std::min<std::uint64_t>(size, StagingBuffer::kCapacity)), position);
  for (const Span& span : stretch) {
    for (auto left = span.bytes; !left.empty();) {
      left = left.subspan(staging_.append(left));
      if (!staging_.full()) continue;
      put(staging_.bytes());
      staging_.startAt(position);
    }
  }
  put(staging_.bytes());
  return position;
}

void GatherWriter::clear() noexcept {
  releaseMemory(spans_);
  releaseMemory(candidates_);
  staging_.release();
}

void GatherWriter::chooseDirectSpans() {
  for (std::size_t i = 0; i < spans_.size(); ++i) {
    // A span that fills a chunk by itself takes a write anyway, so copying it would only cost time.
    spans_[i].direct = spans_[i].bytes.size() >= StagingBuffer::kCapacity;
    if (!spans_[i].direct && spans_[i].bytes.size() >= kMinDirectBytes) candidates_.push_back(i);
  }
  const std::size_t tries = std::min(candidates_.size(), kWriteBudget);
  std::partial_sort(candidates_.begin(), candidates_.begin() + static_cast<std::ptrdiff_t>(tries), candidates_.end(),
                    [this](std::size_t a, std::size_t b) { return spans_[a].bytes.size() > spans_[b].bytes.size(); });
  // Largest first: each direct span saves its bytes of copying, and may split gathered ones into one write more.
  std::size_t writes = writeCount();
  for (std::size_t i = 0; i < tries; ++i) {
    Span& candidate = spans_[candidates_[i]];
    candidate.direct = true;
    const std::size_t withIt = writeCount();
    candidate.direct = withIt <= std::max(writes, kWriteBudget);
    if (candidate.direct) writes = withIt;
  }
}

std::size_t GatherWriter::writeCount() const {
  std::size_t count = 0;
  std::uint64_t gathered = 0;
  for (const Span& span : spans_) {
    if (!span.direct) {
      gathered += span.bytes.size();
      continue;
    }
    count += chunksFor(gathered) + 1;
    gathered = 0;
  }
  return count + chunksFor(gathered);
}

}  // namespace krvo::container
