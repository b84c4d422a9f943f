#pragma once

#include <string>

#include "util/ByteBuffer.h"
#include "wrappers/rkx/RKXEncryptor.h"

namespace ruvo::k2r {

/// Which kinds of samples are encrypted, and how much of a picture; handed to the library as it is.
using EncryptionOptions = RKXEncryptionOptions;

/// What a protected recording is made with. The buffers are whole files, opaque here: only the encryption library looks
/// into them. All results are views into the context.
class IEncryptorContext {
 public:
  /// Names the content to the license server; not empty.
  virtual const std::string& contentId() const = 0;
  /// Secret. Its length is the library's to judge.
  virtual const qvs::util::ByteBuffer& commonKey() const = 0;
  virtual const std::string& licenseServerUrl() const = 0;
  virtual const qvs::util::ByteBuffer& transportCert() const = 0;
  virtual const qvs::util::ByteBuffer& licenseServerCert() const = 0;
  /// Key and certificate of the packager, which the password below opens.
  virtual const qvs::util::ByteBuffer& packagerCredential() const = 0;
  /// Secret.
  virtual const std::string& packagerCredentialPassword() const = 0;
  virtual const qvs::util::ByteBuffer& policy() const = 0;
  virtual const EncryptionOptions& encryptionOptions() const = 0;

 protected:
  ~IEncryptorContext() = default;
};

/// A new encryptor with the key, content identifier and options of `context`, which it does not refer to afterwards.
/// Throws rkx::RKXException with the status of the library.
rkx::RKXEncryptor makeEncryptor(const IEncryptorContext& context);

}  // namespace ruvo::k2r
