#pragma once

#include "util/QVSException.h"

namespace qvs::k2r {

/// A protection setting is missing or has no meaning.
class EncryptorContextException : public QVSException {
 public:
  using QVSException::QVSException;
};

class NoContentIDException final : public EncryptorContextException {
 public:
  NoContentIDException() : EncryptorContextException("no content ID specified") {}
};

class NoCommonKeyException final : public EncryptorContextException {
 public:
  NoCommonKeyException() : EncryptorContextException("no common key specified") {}
};

class NoLicenseServerURLException final : public EncryptorContextException {
 public:
  NoLicenseServerURLException() : EncryptorContextException("no license server URL specified") {}
};

class NoTransportCertException final : public EncryptorContextException {
 public:
  NoTransportCertException() : EncryptorContextException("no transport certificate specified") {}
};

class NoLicenseServerCertException final : public EncryptorContextException {
 public:
  NoLicenseServerCertException() : EncryptorContextException("no license server certificate specified") {}
};

class NoPackagerCredentialException final : public EncryptorContextException {
 public:
  NoPackagerCredentialException() : EncryptorContextException("no packager credential specified") {}
};

class NoPackagerCredentialPwdException final : public EncryptorContextException {
 public:
  NoPackagerCredentialPwdException() : EncryptorContextException("no packager credential password specified") {}
};

class NoPolicyException final : public EncryptorContextException {
 public:
  NoPolicyException() : EncryptorContextException("no policy specified") {}
};

class InvalidVideoEncryptLevelException final : public EncryptorContextException {
 public:
  InvalidVideoEncryptLevelException() : EncryptorContextException("invalid video encryption level; must 0, 1 or 2") {}
};

}  // namespace qvs::k2r
