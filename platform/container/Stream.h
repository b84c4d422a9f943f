#pragma once

#include "platform/container/krvo_k2m.h"
#include "platform/container/reading/Source.h"

namespace krvo::container {

/// The caller's stream. The constructor adds a reference and opens it, the destructor releases it. Belongs to one
/// thread. Every operation throws StatusError: the status of a callback, or that it moved fewer bytes than requested.
class Stream final : public Source {
 public:
  /// Copies the table, not what its context points to. Throws for a table in which a function is missing.
  explicit Stream(const KrvoK2MIOStreamCallBacks& callBacks);
  ~Stream();
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

  /// The size at the time of opening, extended by what was written since, also by a failed write. Not asked again: the
  /// writer must know which of its bytes a failure left in the file.
  std::uint64_t size() override { return size_; }
  /// Reads in as many calls as the callback needs. Throws kKrvoReadFailed beyond size(), without a call.
  void read(std::uint64_t offset, std::span<std::byte> out) override;
  /// All of `bytes`, also if the callback takes them in parts. A failed write may have written some of them.
  void write(std::uint64_t offset, std::span<const std::byte> bytes);
  void flush();

 private:
  /// Throws std::out_of_range for an offset of 2^63 or more, which the callback's parameter cannot express.
  void seek(std::uint64_t offset);

  KrvoK2MIOStreamCallBacks callBacks_;
  std::uint64_t size_ = 0;
};

}  // namespace krvo::container
