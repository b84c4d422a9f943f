#pragma once

#include <string>

#include "util/ByteBuffer.h"
#include "wrappers/rkx/RKXEncryptor.h"

namespace ruvo::k2r {

/// What is encrypted; handed to the library as it is.
using EncryptionOptions = RKXEncryptionOptions;

/// What a protected recording is made with. The files are opaque here: only the encryption library looks into them.
class IEncryptorContext {
 public:
  virtual const std::string& contentId() const = 0;
  virtual const qvs::util::ByteBuffer& commonKey() const = 0;
  virtual const std::string& licenseServerUrl() const = 0;
  virtual const qvs::util::ByteBuffer& transportCert() const = 0;
  virtual const qvs::util::ByteBuffer& licenseServerCert() const = 0;
  virtual const qvs::util::ByteBuffer& packagerCredential() const = 0;
  virtual const std::string& packagerCredentialPassword() const = 0;
  virtual const qvs::util::ByteBuffer& policy() const = 0;
  virtual const EncryptionOptions& encryptionOptions() const = 0;

 protected:
  ~IEncryptorContext() = default;
};

/// An encryptor of this key, content and choice. Throws rkx::RKXException.
rkx::RKXEncryptor makeEncryptor(const IEncryptorContext& context);

}  // namespace ruvo::k2r
