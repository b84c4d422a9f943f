#pragma once

#include <array>

#include "packaging/Message.h"

namespace ruvo::k2rpkgutil {

/// A view of a message whose data the host still owns, so that a message that will be refused costs no allocation. It
/// has its own copy of the 11 header bytes; `sampleOffset` counts from the first data byte. The data must outlive the
/// view, so it lives no longer than the host's call.
class RefMessage final : public Message {
 public:
  /// Finds the sample after the codec header bytes of `data`. `type` is the type byte as the host gave it, bits beside
  /// the kind included; `timestamp` is in milliseconds. `data` may be null where `size` is 0.
  RefMessage(std::uint8_t type, const std::byte* data, std::uint32_t size, std::uint32_t timestamp);
  /// With a sample that the caller has found: `sample` points into `data`.
  RefMessage(std::uint8_t type, std::uint32_t timestamp, std::uint32_t size, const std::byte* data,
             const std::byte* sample, std::uint32_t sampleSize);

  const std::byte* header() const override { return header_.data(); }
  const std::byte* data() const override { return data_; }
  std::uint32_t dataSize() const override { return size_; }
  const std::byte* sample() const override { return sample_; }
  std::uint32_t sampleOffset() const override { return static_cast<std::uint32_t>(sample_ - data_); }
  std::uint32_t sampleSize() const override { return sampleSize_; }

  /// Replaces the timestamp, in milliseconds. The record path does so once, before any decision on the message.
  void setTimestamp(std::uint32_t timestamp) { qvs::util::setTagTimestamp(header_.data(), timestamp); }

 private:
  std::array<std::byte, qvs::util::kTagHeaderSize> header_{};
  const std::byte* data_;
  std::uint32_t size_;
  const std::byte* sample_;
  std::uint32_t sampleSize_;
};

}  // namespace ruvo::k2rpkgutil
