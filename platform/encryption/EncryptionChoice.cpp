#include "platform/encryption/EncryptionChoice.h"

#include "platform/encryption/StatusError.h"
#include "platform/encryption/aacConfiguration.h"
#include "platform/encryption/avcSample.h"

namespace krvo::encryption {
namespace {

enum Level : std::uint32_t { kKeyFrames = 0, kReferences = 1, kEveryFrame = 2 };

}  // namespace

EncryptionChoice::EncryptionChoice(const RKXEncryptionOptions& options) : options_(options) {
  const bool flags = options.encryptVideo <= 1 && options.encryptAudio <= 1 && options.encryptData <= 1;
  require(flags && options.videoEncryptLevel <= kEveryFrame && options.reserved == 0, kRKXBadArgument);
}

bool EncryptionChoice::encrypts(std::span<const std::byte> sample, RKXSampleKind kind, bool avc) const {
  if (sample.empty()) return false;
  switch (kind) {
    case kRKXVideo:
      // Of other codecs nothing here tells key frames apart, so all of them are encrypted, whatever the level.
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
