#include "platform/encryption/EncryptionChoice.h"

#include "platform/encryption/avcSample.h"
#include "platform/encryption/status.h"
#include "util/bytes.h"

namespace krvo::encryption {
namespace {

enum Level : std::uint32_t { kKeyFrames = 0, kReferences = 1, kEveryFrame = 2 };

/// Whether an audio sample is an AudioSpecificConfig (ISO/IEC 14496-3, 1.6.2.1) in one of the two forms that streams
/// have: two bytes of a plain AAC object type, or these and three bytes that announce spectral band replication. Judged
/// by the bytes, since the library does not get the packet type. A frame of AAC is longer or begins with other bits, so
/// none is taken for a configuration; a longer configuration is taken for a frame, and encrypted. Throws nothing.
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

}  // namespace

EncryptionChoice::EncryptionChoice(const RKXEncryptionOptions& options) : options_(options) {
  const bool flags = options.encryptVideo <= 1 && options.encryptAudio <= 1 && options.encryptData <= 1;
  require(flags && options.videoEncryptLevel <= kEveryFrame && options.reserved == 0, kRKXBadArgument);
}

bool EncryptionChoice::encrypts(std::span<const std::byte> sample, RKXSampleKind kind, bool avc) const {
  if (sample.empty()) return false;
  switch (kind) {
    case kRKXVideo:
      // Nothing here finds the key frames of other codecs, so all frames are encrypted, whatever the level.
      return options_.encryptVideo != 0 && (!avc || encryptsAvc(sample));
    case kRKXAudio:
      return options_.encryptAudio != 0 && !isAacConfiguration(sample);
    case kRKXScriptData:
      return options_.encryptData != 0;
    case kRKXOther:
      return false;
  }
  // The kind is a caller's number cast to the enumeration, so it may have any value.
  throw StatusError(kRKXBadArgument);
}

bool EncryptionChoice::encryptsAvc(std::span<const std::byte> sample) const {
  switch (classifyAvcSample(sample)) {
    case AvcSample::kConfiguration:
      return false;
    case AvcSample::kDisposable:
      return options_.videoEncryptLevel == kEveryFrame;
    case AvcSample::kReference:
      return options_.videoEncryptLevel >= kReferences;
    case AvcSample::kKeyFrame:
    // Unknown: docs/decisions.md, "A sample that cannot be judged is encrypted".
    case AvcSample::kUnknown:
      return true;
  }
  return true;
}

}  // namespace krvo::encryption
