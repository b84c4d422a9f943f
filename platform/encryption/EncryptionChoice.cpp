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
      return options_.encryptVideo != 0 && (!avc || encryptsAvc(sample));
    case kRKXAudio:
      return options_.encryptAudio != 0 && !isAacConfiguration(sample);
    case kRKXScriptData:
      return options_.encryptData != 0;
    case kRKXOther:
      return false;
  }
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
    case AvcSample::kUnknown:
      return true;
  }
  return true;
}

}  // namespace krvo::encryption
