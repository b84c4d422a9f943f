#pragma once

#include "util/QVSException.h"

namespace qvs::k2r {

/// A protection setting is missing or has no meaning. Each class below is one setting with its fixed text, which the
/// operator finds in the host's log. A setting that names a file which cannot be read is no failure of this kind: it is
/// a CantOpenFileException of K2RUtilException.h.
class EncryptorContextException : public QVSException {
 public:
  using QVSException::QVSException;
};

/// `Recording/VantryV2/ContentID`.
class NoContentIDException final : public EncryptorContextException {
 public:
  NoContentIDException() : EncryptorContextException("no content ID specified") {}
};

/// `Recording/VantryV2/CommonKeyPath`.
class NoCommonKeyException final : public EncryptorContextException {
 public:
  NoCommonKeyException() : EncryptorContextException("no common key specified") {}
};

/// `Recording/VantryV2/LicenseServerURL`.
class NoLicenseServerURLException final : public EncryptorContextException {
 public:
  NoLicenseServerURLException() : EncryptorContextException("no license server URL specified") {}
};

/// `Recording/VantryV2/TransportCertPath`.
class NoTransportCertException final : public EncryptorContextException {
 public:
  NoTransportCertException() : EncryptorContextException("no transport certificate specified") {}
};

/// `Recording/VantryV2/LicenseServerCertPath`.
class NoLicenseServerCertException final : public EncryptorContextException {
 public:
  NoLicenseServerCertException() : EncryptorContextException("no license server certificate specified") {}
};

/// `Recording/VantryV2/PackagerCredentialPath`.
class NoPackagerCredentialException final : public EncryptorContextException {
 public:
  NoPackagerCredentialException() : EncryptorContextException("no packager credential specified") {}
};

/// `Recording/VantryV2/PackagerCredentialPwd`.
class NoPackagerCredentialPwdException final : public EncryptorContextException {
 public:
  NoPackagerCredentialPwdException() : EncryptorContextException("no packager credential password specified") {}
};

/// `Recording/VantryV2/PolicyPath`.
class NoPolicyException final : public EncryptorContextException {
 public:
  NoPolicyException() : EncryptorContextException("no policy specified") {}
};

/// `Recording/VantryV2/VideoEncryptLevel` is above 2. Thrown only after all files were loaded.
class InvalidVideoEncryptLevelException final : public EncryptorContextException {
 public:
  InvalidVideoEncryptLevelException() : EncryptorContextException("invalid video encryption level; must 0, 1 or 2") {}
};

}  // namespace qvs::k2r
