#pragma once

#include "platform/container/krvo_k2m.h"
#include "platform/container/reading/Source.h"

namespace krvo::container {

/// The caller's stream: referred to and opened when this is made, released when it goes. Every operation throws
/// StatusError: what a callback answered, or that it moved fewer bytes than asked.
class Stream final : public Source {
 public:
  explicit Stream(const KrvoK2MIOStreamCallBacks& callBacks);
  ~Stream();
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

  /// The end of what the stream held when it was opened, and of what was written since, also by a failed write.
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
