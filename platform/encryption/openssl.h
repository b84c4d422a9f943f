#pragma once

#include <openssl/bio.h>
#include <openssl/cms.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pkcs12.h>
#include <openssl/x509.h>

#include <cstddef>
#include <memory>
#include <new>
#include <span>

#include "util/narrow.h"

// Owners of OpenSSL's objects, and views of bytes as its calls take them. Only platform/encryption includes this.

namespace krvo::encryption {

/// A deleter that calls OpenSSL's function for the type. Those functions accept null and throw nothing.
template <auto free>
struct Freeing {
  template <typename T>
  void operator()(T* object) const noexcept {
    free(object);
  }
};

using BioPtr = std::unique_ptr<BIO, Freeing<BIO_free_all>>;
using CmsPtr = std::unique_ptr<CMS_ContentInfo, Freeing<CMS_ContentInfo_free>>;
using CipherContextPtr = std::unique_ptr<EVP_CIPHER_CTX, Freeing<EVP_CIPHER_CTX_free>>;
using KeyContextPtr = std::unique_ptr<EVP_PKEY_CTX, Freeing<EVP_PKEY_CTX_free>>;
using KeyPtr = std::unique_ptr<EVP_PKEY, Freeing<EVP_PKEY_free>>;
using CertificatePtr = std::unique_ptr<X509, Freeing<X509_free>>;
using Pkcs12Ptr = std::unique_ptr<PKCS12, Freeing<PKCS12_free>>;

/// Frees the certificates with their list: the chain of a PKCS#12 structure owns them.
struct FreeingCertificates {
  void operator()(STACK_OF(X509) * certificates) const noexcept { sk_X509_pop_free(certificates, X509_free); }
};
using CertificatesPtr = std::unique_ptr<STACK_OF(X509), FreeingCertificates>;

// OpenSSL takes bytes as unsigned char; these are the only casts.
inline unsigned char* raw(std::byte* bytes) {
  return reinterpret_cast<unsigned char*>(bytes);
}

inline const unsigned char* raw(const std::byte* bytes) {
  return reinterpret_cast<const unsigned char*>(bytes);
}

/// A BIO that reads from `bytes`, which must outlive it and are not copied. Throws std::bad_alloc.
inline BioPtr readingBio(std::span<const std::byte> bytes) {
  const void* start = bytes.data();
  if (start == nullptr) start = "";  // OpenSSL refuses a null pointer also for no bytes
  BioPtr bio(BIO_new_mem_buf(start, qvs::util::narrow<int>(bytes.size())));
  if (!bio) throw std::bad_alloc();
  return bio;
}

/// Restores the thread's OpenSSL error queue at the end of its scope. The host may use OpenSSL on the same thread, and
/// would take our errors for those of its own calls.
class ErrorQueueScope {
 public:
  ErrorQueueScope() { ERR_set_mark(); }
  ~ErrorQueueScope() { ERR_pop_to_mark(); }
  ErrorQueueScope(const ErrorQueueScope&) = delete;
  ErrorQueueScope& operator=(const ErrorQueueScope&) = delete;
};

}  // namespace krvo::encryption
