#pragma once

#include <array>

#include "packaging/Message.h"

namespace ruvo::k2rpkgutil {

/// A view of a message whose data the caller owns, to look at it before anything is copied. The data outlive it.
/// `sampleOffset` counts from the first data byte.
class RefMessage final : public Message {
 public:
  /// The sample begins behind the codec header bytes of `data`.
  RefMessage(std::uint8_t type, const std::byte* data, std::uint32_t size, std::uint32_t timestamp);
  /// The sample is the one given.
  RefMessage(std::uint8_t type, std::uint32_t timestamp, std::uint32_t size, const std::byte* data,
             const std::byte* sample, std::uint32_t sampleSize);

  const std::byte* header() const override { return header_.data(); }
  const std::byte* data() const override { return data_; }
  std::uint32_t dataSize() const override { return size_; }
  const std::byte* sample() const override { return sample_; }
  std::uint32_t sampleOffset() const override { return static_cast<std::uint32_t>(sample_ - data_); }
  std::uint32_t sampleSize() const override { return sampleSize_; }

  void setTimestamp(std::uint32_t timestamp) { qvs::util::setTagTimestamp(header_.data(), timestamp); }

 private:
  std::array<std::byte, qvs::util::kTagHeaderSize> header_{};
  const std::byte* data_;
  std::uint32_t size_;
  const std::byte* sample_;
  std::uint32_t sampleSize_;
};

}  // namespace ruvo::k2rpkgutil
