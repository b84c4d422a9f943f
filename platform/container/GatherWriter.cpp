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
  if (!runs_.empty()) {
    auto& last = runs_.back().bytes;
    if (last.data() + last.size() == piece.data()) {
      last = {last.data(), last.size() + piece.size()};
      return;
    }
  }
  runs_.push_back({piece, false});
}

void GatherWriter::write(Stream& stream, std::uint64_t position) {
  chooseDirectRuns();
  for (auto run = runs_.begin(); run != runs_.end();) {
    const auto end =
        run->direct ? run + 1 : std::find_if(run, runs_.end(), [](const Run& next) { return next.direct; });
    position = writeStretch(stream, position, {run, end});
    run = end;
  }
  clear();
}

std::uint64_t GatherWriter::writeStretch(Stream& stream, std::uint64_t position, std::span<const Run> stretch) {
  const auto put = [&stream, &position](std::span<const std::byte> bytes) {
    stream.write(position, bytes);
    position += bytes.size();
  };
  if (stretch.size() == 1) {
    put(stretch.front().bytes);
    return position;
  }
  std::uint64_t size = 0;
  for (const Run& run : stretch) size += run.bytes.size();
  staging_.reserve(static_cast<std::size_t>(std::min<std::uint64_t>(size, StagingBuffer::kCapacity)));
  for (const Run& run : stretch) {
    for (auto left = run.bytes; !left.empty();) {
      left = left.subspan(staging_.append(left));
      if (!staging_.full()) continue;
      put(staging_.bytes());
      staging_.clear();
    }
  }
  put(staging_.bytes());
  return position;
}

void GatherWriter::clear() noexcept {
  clearRetained(runs_);
  clearRetained(candidates_);
  staging_.trim();
}

void GatherWriter::chooseDirectRuns() {
  for (std::size_t i = 0; i < runs_.size(); ++i) {
    // One that fills a chunk alone never adds a write worth a copy.
    runs_[i].direct = runs_[i].bytes.size() >= StagingBuffer::kCapacity;
    if (!runs_[i].direct && runs_[i].bytes.size() >= kMinDirectBytes) candidates_.push_back(i);
  }
  const std::size_t tries = std::min(candidates_.size(), kWriteBudget);
  std::partial_sort(candidates_.begin(), candidates_.begin() + static_cast<std::ptrdiff_t>(tries), candidates_.end(),
                    [this](std::size_t a, std::size_t b) { return runs_[a].bytes.size() > runs_[b].bytes.size(); });
  std::size_t writes = writeCount();
  for (std::size_t i = 0; i < tries; ++i) {
    Run& candidate = runs_[candidates_[i]];
    candidate.direct = true;
    const std::size_t withIt = writeCount();
    candidate.direct = withIt <= std::max(writes, kWriteBudget);
    if (candidate.direct) writes = withIt;
  }
}

std::size_t GatherWriter::writeCount() const {
  std::size_t count = 0;
  std::uint64_t gathered = 0;
  for (const Run& run : runs_) {
    if (!run.direct) {
      gathered += run.bytes.size();
      continue;
    }
    count += chunksFor(gathered) + 1;
    gathered = 0;
  }
  return count + chunksFor(gathered);
}

}  // namespace krvo::container
