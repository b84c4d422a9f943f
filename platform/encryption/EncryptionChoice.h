#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/encryption/krvo_rkx.h"

namespace krvo::encryption {

/// Decides which samples of a recording are encrypted. Configuration and empty samples never are; what cannot be judged
/// is, as soon as its kind is.
class EncryptionChoice {
 public:
  /// Throws StatusError for flags above 1, a level above 2 and a reserved word that is not 0.
  explicit EncryptionChoice(const RKXEncryptionOptions& options);

  /// `avc`: the sample is a run of NAL units behind lengths of four bytes.
  bool encrypts(std::span<const std::byte> sample, RKXSampleKind kind, bool avc) const;

 private:
  bool encryptsAvc(std::span<const std::byte> sample) const;

  RKXEncryptionOptions options_;
};

}  // namespace krvo::encryption
