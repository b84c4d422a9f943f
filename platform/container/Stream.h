#pragma once

#include "platform/container/krvo_k2m.h"
#include "platform/container/reading/Source.h"

namespace krvo::container {

/// The caller's stream. The constructor adds a reference and opens it, the destructor releases it. Belongs to one
/// thread. Every operation throws StatusError: the status of a callback, or that it moved fewer bytes than requested.
class Stream final : public Source {
 public:
  explicit Stream(const KrvoK2MIOStreamCallBacks& callBacks);
  ~Stream();
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

  /// The size at the time of opening, extended by what was written since, also by a failed write. Not asked again: the
  /// writer must know which bytes of its own a failure left in the file.
  std::uint64_t size() override { return size_; }
  void read(std::uint64_t offset, std::span<std::byte> out) override;
  void write(std::uint64_t offset, std::span<const std::byte> bytes);
  void flush();

 private:
  void seek(std::uint64_t offset);

  KrvoK2MIOStreamCallBacks callBacks_;
  std::uint64_t size_ = 0;
};

}  // namespace krvo::container
