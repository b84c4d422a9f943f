#include "tests/support/StreamBuilder.h"

#include <algorithm>

#include "tests/support/hex.h"

namespace test {
namespace {

constexpr std::uint8_t kAudio = 8;
constexpr std::uint8_t kVideo = 9;
constexpr std::uint8_t kData = 18;

/// `prefix`, then bytes that a linear congruential generator makes of `seed`, `size` bytes in all.
std::vector<std::byte> fill(std::vector<std::byte> prefix, std::uint32_t size, std::uint32_t seed) {
  prefix.reserve(std::max<std::size_t>(size, prefix.size()));
  std::uint32_t state = seed * 2654435761U + 1;
  while (prefix.size() < size) {
    state = state * 1664525U + 1013904223U;
    prefix.push_back(static_cast<std::byte>(state >> 24));
  }
  return prefix;
}

}  // namespace

StreamMessage metadata(std::uint32_t timeMs) {
  return {kData, timeMs,
          fromHex("02 000a 6f6e4d65746144617461 08 00000002 0005 7769647468 00 4084000000000000 "
                  "0006 686569676874 00 4076800000000000 000009")};
}

StreamMessage avcSequenceHeader(std::uint32_t timeMs) {
  // A configuration of High profile, level 3.0, with one parameter set of each kind.
  return {kVideo, timeMs,
          fromHex("17 00 000000 01 64001e ff e1 0019 67640 01eacd940a02ff9610000030001000003003c8f162d96 01 0006 "
                  "68ebe3cb22c0")};
}

StreamMessage aacSequenceHeader(std::uint32_t timeMs) {
  // AAC-LC, 44100 Hz, stereo.
  return {kAudio, timeMs, fromHex("af 00 1210")};
}

StreamMessage avcFrame(std::uint32_t timeMs, bool keyFrame, std::uint32_t size, std::uint32_t seed) {
  return {kVideo, timeMs, fill(fromHex(keyFrame ? "17 01 000000" : "27 01 000000"), size, seed)};
}

StreamMessage aacFrame(std::uint32_t timeMs, std::uint32_t size, std::uint32_t seed) {
  return {kAudio, timeMs, fill(fromHex("af 01"), size, seed)};
}

std::vector<StreamMessage> StreamBuilder::until(std::uint32_t timeMs) const {
  std::vector<StreamMessage> messages;
  if (headers_) messages.push_back(metadata(start_));
  if (headers_ && keyFrameInterval_ != 0) messages.push_back(avcSequenceHeader(start_));
  if (headers_ && audioPeriod_ != 0) messages.push_back(aacSequenceHeader(start_));
  std::uint64_t nextVideo = keyFrameInterval_ != 0 ? start_ : timeMs;
  std::uint64_t nextAudio = audioPeriod_ != 0 ? start_ : timeMs;
  for (std::uint32_t seed = start_; std::min(nextVideo, nextAudio) < timeMs; ++seed) {
    if (nextVideo <= nextAudio) {
      const auto time = static_cast<std::uint32_t>(nextVideo);
      messages.push_back(avcFrame(time, (time - start_) % keyFrameInterval_ == 0, frameBytes_, seed));
      nextVideo += framePeriod_;
    } else {
      messages.push_back(aacFrame(static_cast<std::uint32_t>(nextAudio), audioBytes_, seed));
      nextAudio += audioPeriod_;
    }
  }
  return messages;
}

std::vector<StreamMessage> operator+(std::vector<StreamMessage> first, const std::vector<StreamMessage>& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

}  // namespace test
