#pragma once

#include <cstddef>
#include <span>

#include "platform/encryption/krvo_rkx.h"

namespace krvo::encryption {

/// Decides which samples of a recording are encrypted. Configurations and empty samples never are. A sample that cannot
/// be judged is encrypted if its kind is selected: a mistake then costs some cipher, the other way round it shows a
/// frame. Immutable after construction, so any thread may use it.
class EncryptionChoice {
 public:
  /// Throws StatusError for flags above 1, a level above 2 and a reserved word that is not 0.
  explicit EncryptionChoice(const RKXEncryptionOptions& options);

  /// `sample` is without codec header bytes. `avc`: it consists of NAL units, each after a length of four bytes. Throws
  /// StatusError for a kind that is none of RKXSampleKind.
  bool encrypts(std::span<const std::byte> sample, RKXSampleKind kind, bool avc) const;

 private:
  /// By the level of the options and the class of the sample.
  bool encryptsAvc(std::span<const std::byte> sample) const;

  RKXEncryptionOptions options_;
};

}  // namespace krvo::encryption
