#include "platform/encryption/aacConfiguration.h"

#include "util/bytes.h"

namespace krvo::encryption {

bool isAacConfiguration(std::span<const std::byte> sample) {
  constexpr std::size_t kPlain = 2;
  constexpr std::size_t kWithReplication = 5;
  constexpr unsigned kSyncExtension = 0x2B7;
  constexpr unsigned kReplication = 5;
  if (sample.size() != kPlain && sample.size() != kWithReplication) return false;

  qvs::util::ByteReader in(sample);
  const unsigned plain = in.u16();
  const unsigned objectType = plain >> 11;
  const unsigned frequency = plain >> 7 & 0xF;
  const unsigned channels = plain >> 3 & 0xF;
  // Main, low complexity, scalable sampling rate, long term prediction, without an explicit rate or a program config
  // element. A frame of two bytes would begin with the bits of another element, so that its object type is out of
  // range.
  if (objectType < 1 || objectType > 4 || frequency > 12 || channels < 1 || channels > 7) return false;
  if (in.remaining() == 0) return true;
  const unsigned extension = in.u16();
  // The fifth byte is not read: it only says whether the extension is used, and at which rate.
  return extension >> 5 == kSyncExtension && (extension & 0x1F) == kReplication;
}

}  // namespace krvo::encryption
