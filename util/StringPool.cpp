#include "util/StringPool.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace qvs::util {
namespace {

constexpr std::int32_t kLongestLength = 0xFFFFFF;

/// Adds one to a count until the end of a scope, also when an exception ends it.
class ScopedCount {
 public:
  explicit ScopedCount(std::atomic<std::int32_t>& count) : count_(count), isFirst_(count.fetch_add(1) == 0) {}
  ~ScopedCount() { count_.fetch_sub(1); }
  ScopedCount(const ScopedCount&) = delete;
  ScopedCount& operator=(const ScopedCount&) = delete;

  bool isFirst() const { return isFirst_; }

 private:
  std::atomic<std::int32_t>& count_;
  bool isFirst_;
};

}  // namespace

StringPool& StringPool::instance() {
  // Never destroyed: strings with static storage may give back their blocks after every other destructor has run.
  static StringPool* const pool =
      std::make_unique<StringPool>(maxPooledLengthFrom(std::getenv("QVS_STRING_POOL"))).release();
  return *pool;
}

std::int32_t StringPool::maxPooledLengthFrom(const char* setting) {
  if (setting == nullptr) return 0;
  return static_cast<std::int32_t>(std::clamp<long>(std::strtol(setting, nullptr, 10), 0, kLongestLength));
}

StringPool::StringPool(std::int32_t maxPooledLength)
    : maxPooledLength_(static_cast<std::size_t>(std::clamp(maxPooledLength, 0, kLongestLength))),
      narrowShards_(maxPooledLength_ + 1),
      narrowMaps_(maxPooledLength_ + 1),
      wideShards_(maxPooledLength_ + 1),
      wideMaps_(maxPooledLength_ + 1) {}

template <typename Char>
bool StringPool::ByContent<Char>::operator()(const Char* a, const Char* b) const {
  return std::memcmp(a, b, length * sizeof(Char)) < 0;
}

template <>
StringPool::Shards& StringPool::shards<char>() {
  return narrowShards_;
}

template <>
StringPool::Shards& StringPool::shards<char16_t>() {
  return wideShards_;
}

template <>
StringPool::Maps<char>& StringPool::maps<char>() {
  return narrowMaps_;
}

template <>
StringPool::Maps<char16_t>& StringPool::maps<char16_t>() {
  return wideMaps_;
}

template <typename Char>
StringBlock<Char> StringPool::intern(std::basic_string_view<Char> text) {
  if (text.empty()) return {};
  if (text.size() > maxPooledLength_) return StringBlock<Char>::makePrivate(text);
  Shard& shard = shards<Char>().at(text.size());
  const MutexLock lock(&shard.mutex);
  // Under the lock of the shard: a map is no object for several threads, and this may make it.
  Map<Char>& map = maps<Char>().at(text.size(), ByContent<Char>{text.size()});
  if (const auto found = map.find(text.data()); found != map.end()) {
    ++found->second.useCount;
    ++shard.statistics.hits;
    return found->second.block;
  }
  // The entry owns the block before the map can throw. The key points into that block, which never moves.
  Entry<Char> entry(text);
  const StringBlock<Char> block = entry.block;
  map.emplace(block.text(), std::move(entry));
  ++shard.statistics.misses;
  shard.statistics.internedChars += static_cast<std::uint32_t>(text.size());
  return block;
}

template <typename Char>
void StringPool::release(StringBlock<Char> block) noexcept {
  if (block.isEmptyString()) return;
  if (block.isPrivate()) return block.destroy();
  Shard* const shard = shards<Char>().find(block.length());
  if (shard == nullptr) return;
  const MutexLock lock(&shard->mutex);
  Map<Char>* const map = maps<Char>().find(block.length());
  if (map == nullptr) return;
  // The entry stays at 0: the same text often comes again, and only a sweep, under this lock, may free its block.
  if (const auto found = map->find(block.text()); found != map->end()) --found->second.useCount;
}

template <typename Char>
void StringPool::assign(StringBlock<Char>& block, std::basic_string_view<Char> text) {
  if (block.hasRoomFor(text.size())) {
    block.overwrite(0, text);
    return;
  }
  // The old block last: `text` may be part of it, and intern() may throw.
  const StringBlock<Char> old = block;
  block = intern(text);
  release(old);
}

template <typename Char>
void StringPool::append(StringBlock<Char>& block, std::basic_string_view<Char> text) {
  if (block.hasRoomFor(block.length() + text.size())) {
    block.overwrite(block.length(), text);
    return;
  }
  const StringBlock<Char> old = block;
  block = StringBlock<Char>::makePrivate(old.view(), text);
  release(old);
}

template <typename Char>
void StringPool::makePrivate(StringBlock<Char>& block) {
  if (block.isPrivate()) return;
  const StringBlock<Char> old = block;
  block = StringBlock<Char>::makePrivate(old.view());
  release(old);
}

std::uint64_t StringPool::sweep() {
  const ScopedCount sweeps(sweepCount_);
  if (!sweeps.isFirst()) return 0;
  return sweepMaps<char>() + sweepMaps<char16_t>();
}

template <typename Char>
std::uint64_t StringPool::sweepMaps() {
  std::uint64_t freed = 0;
  shards<Char>().forEach([&](std::size_t length, Shard& shard) {
    const MutexLock lock(&shard.mutex);
    if (Map<Char>* const map = maps<Char>().find(length))
      freed += length * std::erase_if(*map, [](const auto& entry) { return entry.second.useCount == 0; });
  });
  return freed;
}

template <typename Char>
StringPool::Statistics StringPool::statistics(std::size_t length) {
  Shard* const shard = shards<Char>().find(length);
  if (shard == nullptr) return {};
  const MutexLock lock(&shard->mutex);
  return shard->statistics;
}

template StringBlock<char> StringPool::intern(std::basic_string_view<char>);
template StringBlock<char16_t> StringPool::intern(std::basic_string_view<char16_t>);
template void StringPool::release(StringBlock<char>) noexcept;
template void StringPool::release(StringBlock<char16_t>) noexcept;
template void StringPool::assign(StringBlock<char>&, std::basic_string_view<char>);
template void StringPool::assign(StringBlock<char16_t>&, std::basic_string_view<char16_t>);
template void StringPool::append(StringBlock<char>&, std::basic_string_view<char>);
template void StringPool::append(StringBlock<char16_t>&, std::basic_string_view<char16_t>);
template void StringPool::makePrivate(StringBlock<char>&);
template void StringPool::makePrivate(StringBlock<char16_t>&);
template StringPool::Statistics StringPool::statistics<char>(std::size_t);
template StringPool::Statistics StringPool::statistics<char16_t>(std::size_t);

}  // namespace qvs::util
