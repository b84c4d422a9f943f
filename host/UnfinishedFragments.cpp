#include "host/UnfinishedFragments.h"

#include "util/box.h"
#include "util/fourcc.h"

namespace host {
namespace {

using qvs::util::operator""_4cc;

/// The end in the file of the fragment that begins at `offset` with `bytes`. 0 if they do not begin a fragment, or do
/// not have the size of its `mdat`.
std::uint64_t fragmentEnd(std::uint64_t offset, std::span<const std::byte> bytes) try {
  qvs::util::ByteReader in(bytes);
  for (const auto type : {"afra"_4cc, "abst"_4cc, "moof"_4cc}) qvs::util::openBox(in, type);
  const std::uint64_t begin = offset + in.position();
  const auto mdat = qvs::util::readSizeAndType(in);
  return mdat.type == "mdat"_4cc ? begin + mdat.size : 0;
} catch (const qvs::util::MalformedInput&) {
  return 0;
}

}  // namespace

bool UnfinishedFragments::isUnfinishedAfter(std::int32_t handle, std::uint64_t offset,
                                            std::span<const std::byte> bytes) {
  const std::lock_guard lock(mutex_);
  const auto known = unfinished_.find(handle);
  // After a failed write the module writes the fragment again from its start.
  const bool continues = known != unfinished_.end() && known->second.next == offset;
  const Fragment fragment = {.next = offset + bytes.size(),
                             .end = continues ? known->second.end : fragmentEnd(offset, bytes)};
  const bool isUnfinished = fragment.next < fragment.end;
  if (isUnfinished) {
    unfinished_[handle] = fragment;
  } else {
    unfinished_.erase(handle);
  }
  return isUnfinished;
}

void UnfinishedFragments::forget(std::int32_t handle) {
  const std::lock_guard lock(mutex_);
  unfinished_.erase(handle);
}

}  // namespace host
