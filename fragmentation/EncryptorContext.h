#pragma once

#include <string>

#include "fragmentation/IEncryptorContext.h"
#include "imo/IMOStreamOpenContext.h"

namespace ruvo::k2r {

/// The protection settings of a recording, with the content of the files that they name. A local value of the step that
/// sets up the recording's writer; key and password are wiped from memory when it is destroyed. Movable but not
/// copyable: a copy would be a second place to wipe. Belongs to one thread.
class EncryptorContext final : public IEncryptorContext {
 public:
  EncryptorContext() = default;
  ~EncryptorContext();
  EncryptorContext(EncryptorContext&&) = default;
  EncryptorContext& operator=(EncryptorContext&&) = delete;

  const std::string& contentId() const override { return contentId_; }
  const qvs::util::ByteBuffer& commonKey() const override { return commonKey_; }
  const std::string& licenseServerUrl() const override { return licenseServerUrl_; }
  const qvs::util::ByteBuffer& transportCert() const override { return transportCert_; }
  const qvs::util::ByteBuffer& licenseServerCert() const override { return licenseServerCert_; }
  const qvs::util::ByteBuffer& packagerCredential() const override { return packagerCredential_; }
  const std::string& packagerCredentialPassword() const override { return packagerCredentialPassword_; }
  const qvs::util::ByteBuffer& policy() const override { return policy_; }
  const EncryptionOptions& encryptionOptions() const override { return encryptionOptions_; }

 private:
  friend EncryptorContext readEncryptorContext(IMOStreamOpenContext& context);

  std::string contentId_;
  qvs::util::ByteBuffer commonKey_;
  std::string licenseServerUrl_;
  qvs::util::ByteBuffer transportCert_;
  qvs::util::ByteBuffer licenseServerCert_;
  qvs::util::ByteBuffer packagerCredential_;
  std::string packagerCredentialPassword_;
  qvs::util::ByteBuffer policy_;
  EncryptionOptions encryptionOptions_{};
};

/// Reads the settings `Recording/VantryV2/...` and the files, one after another in the order of the members above; the
/// first that is missing or cannot be read ends it, and no later file is opened. Throws an EncryptorContextException
/// for a missing setting or a level above 2, what loadFile() throws, and boost::bad_lexical_cast for a level that is no
/// number.
EncryptorContext readEncryptorContext(IMOStreamOpenContext& context);

}  // namespace ruvo::k2r
