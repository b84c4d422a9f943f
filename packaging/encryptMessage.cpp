// How a message of the stream becomes a protected tag.

#include <algorithm>
#include <string_view>
#include <utility>

#include "packaging/EncryptedK2RMediaWriterPolicy.h"
#include "packaging/tagCodec.h"
#include "util/bytes.h"
#include "util/tagHeader.h"

namespace ruvo::k2rpkgutil {
namespace {

using namespace qvs::util;

/// First byte of the filter parameters if the sample is encrypted; the initialisation vector follows it.
constexpr std::byte kEncrypted{0x80};
constexpr std::size_t kParametersSizeWidth = 3;

bool isVp6(const NQMessage& message) {
  if (!message.isVideo()) return false;
  const std::uint8_t codec = lowNibble(message.firstByte());
  return codec == kVp6Video || codec == kVp6AlphaVideo;
}

RKXSampleKind kindOf(const NQMessage& message) {
  if (message.isVideo()) return kRKXVideo;
  if (message.isAudio()) return kRKXAudio;
  return message.isData() ? kRKXScriptData : kRKXOther;
}

}  // namespace

NQMessage EncryptedK2RMediaWriterPolicy::encryptMessage(NQMessage message) const {
  // The second codec header byte of VP6 belongs to the picture, so it is encrypted with it.
  if (isVp6(message)) message.takeCodecHeaderByteIntoSample();
  const std::span sample(message.sample(), message.sampleSize());
  const RKXSampleInfo info =
      encryptor_.querySample(sample, kindOf(message), message.time(), message.isVideo() && hasAvcVideo());

  const bool encrypted = info.encrypted != 0;
  const std::span<const std::byte> clear(message.data(), message.sample());
  const std::string_view filterName(info.filterName);
  const std::uint64_t vectorSize = encrypted ? info.vectorSize : 0;
  const std::uint64_t payloadSize = encrypted ? info.encryptedSize : sample.size();
  const std::uint64_t parametersSize = 1 + vectorSize;
  // In 64 bits: the sum may exceed 32 bits before allocateTag() refuses it.
  const std::uint64_t dataSize =
      clear.size() + 1 + filterName.size() + 1 + kParametersSizeWidth + parametersSize + payloadSize;
  // Set, not added: a host may send a type that has the bit already (docs/decisions.md, "The filter bit is set").
  const auto type = static_cast<std::uint8_t>(tagRawType(message.header()) | kTagProtectedBit);
  MemoryHolder memory = allocateTag(context_.getArena(), type, dataSize, message.timestamp());

  std::byte* to = std::copy(clear.begin(), clear.end(), memory->getData() + kTagHeaderSize);
  *to++ = static_cast<std::byte>(info.filterCount);
  to = std::copy_n(asBytes(filterName).begin(), filterName.size(), to);
  *to++ = std::byte{0};
  storeBigEndian(to, kParametersSizeWidth, parametersSize);
  to += kParametersSizeWidth;
  std::byte* const parameters = to;
  *to++ = encrypted ? kEncrypted : std::byte{0};
  if (encrypted) {
    // Straight into its place in the new tag, without a buffer in between that would have to be wiped or copied.
    encryptor_.encryptSample(sample, {to + vectorSize, payloadSize}, {to, vectorSize});
  } else {
    std::copy(sample.begin(), sample.end(), to);
  }
  return NQMessage(message.time(), static_cast<std::uint32_t>(dataSize + kTagOverhead), std::move(memory), parameters,
                   static_cast<std::uint32_t>(parametersSize + payloadSize));
}

}  // namespace ruvo::k2rpkgutil
