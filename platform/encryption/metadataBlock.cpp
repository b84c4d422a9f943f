#include "platform/encryption/metadataBlock.h"

#include <openssl/rsa.h>

#include <algorithm>

#include "platform/encryption/MetadataContent.h"
#include "platform/encryption/Secret.h"
#include "platform/encryption/status.h"

namespace krvo::encryption {
namespace {

constexpr std::size_t kLongestPolicy = 1 << 20;
constexpr std::size_t kLongestUrl = 2048;

/// No more than a check against a mistaken setting: whether the server exists is for players to find out.
void checkUrl(std::string_view url) {
  const auto hasHostBehind = [url](std::string_view scheme) {
    return url.starts_with(scheme) && url.size() > scheme.size() && url[scheme.size()] != '/';
  };
  const bool printable = std::all_of(url.begin(), url.end(), [](char c) { return c > ' ' && c < '\x7F'; });
  require(url.size() <= kLongestUrl && printable && (hasHostBehind("http://") || hasHostBehind("https://")),
          kRKXBadLicenseServerUrl);
}

void checkPolicies(const std::vector<std::span<const std::byte>>& policies) {
  require(!policies.empty(), kRKXBadPolicy);
  for (const auto& policy : policies) require(!policy.empty() && policy.size() <= kLongestPolicy, kRKXBadPolicy);
}

std::vector<std::byte> derOf(CMS_ContentInfo& structure) {
  const int size = i2d_CMS_ContentInfo(&structure, nullptr);
  requireOpenssl(size > 0);
  std::vector<std::byte> der(static_cast<std::size_t>(size));
  auto* at = raw(der.data());
  requireOpenssl(i2d_CMS_ContentInfo(&structure, &at) == size);
  return der;
}

/// Chooses how the key of the envelope is wrapped. OpenSSL's defaults are PKCS#1 v1.5 and SHA-1, for old readers.
void chooseWrapping(CMS_RecipientInfo& recipient, const X509& certificate) {
  EVP_PKEY_CTX* const context = CMS_RecipientInfo_get0_pkey_ctx(&recipient);
  requireOpenssl(context != nullptr);
  if (EVP_PKEY_is_a(X509_get0_pubkey(&certificate), "RSA") == 1) {
    requireOpenssl(EVP_PKEY_CTX_set_rsa_padding(context, RSA_PKCS1_OAEP_PADDING) == 1);
    requireOpenssl(EVP_PKEY_CTX_set_rsa_oaep_md(context, EVP_sha256()) == 1);
    requireOpenssl(EVP_PKEY_CTX_set_rsa_mgf1_md(context, EVP_sha256()) == 1);
  } else {
    requireOpenssl(EVP_PKEY_CTX_set_ecdh_kdf_md(context, EVP_sha256()) == 1);
  }
}

/// CMS_KEY_PARAM makes OpenSSL keep the recipient's parameters open, which chooseWrapping() needs.
std::vector<std::byte> envelop(std::span<const std::byte> content, X509& certificate) {
  const CmsPtr structure(CMS_EnvelopedData_create(EVP_aes_256_cbc()));
  requireOpenssl(structure != nullptr && CMS_set_detached(structure.get(), 0) == 1);
  auto* const recipient = CMS_add1_recipient_cert(structure.get(), &certificate, CMS_KEY_PARAM);
  requireOpenssl(recipient != nullptr);
  chooseWrapping(*recipient, certificate);

  // Written straight into the cipher: CMS_final() would leave a copy of the key in buffers that it does not wipe
  // (docs/decisions.md, "The key never goes through OpenSSL's copying").
  const BioPtr cipher(CMS_dataInit(structure.get(), nullptr));
  requireOpenssl(cipher != nullptr);
  const int size = qvs::util::narrow<int>(content.size());
  requireOpenssl(BIO_write(cipher.get(), content.data(), size) == size && BIO_flush(cipher.get()) == 1);
  requireOpenssl(CMS_dataFinal(structure.get(), cipher.get()) == 1);
  return derOf(*structure);
}

std::vector<std::byte> sign(std::span<const std::byte> content, const Credential& credential) {
  // CMS_BINARY: without it OpenSSL would replace each line feed in the DER by CR LF before it signs.
  constexpr unsigned kFlags = CMS_BINARY | CMS_PARTIAL | CMS_NOSMIMECAP;
  const CmsPtr structure(CMS_sign(nullptr, nullptr, credential.chain.get(), nullptr, kFlags));
  requireOpenssl(structure != nullptr);
  requireOpenssl(CMS_add1_signer(structure.get(), credential.certificate.get(), credential.key.get(), EVP_sha256(),
                                 kFlags) != nullptr);
  requireOpenssl(CMS_final(structure.get(), readingBio(content).get(), nullptr, kFlags) == 1);
  return derOf(*structure);
}

}  // namespace

std::vector<std::byte> makeMetadataBlock(const MetadataRequest& request) {
  // The order of the checks is documented in docs/encryption.md: it decides which status a user sees first.
  checkUrl(request.licenseServerUrl);
  const auto transport = readCertificate(request.transportCertificate, kRKXBadTransportCertificate);
  const auto licenseServer = readLicenseServerCertificate(request.licenseServerCertificate);
  const auto credential = readCredential(request.credential, request.password);
  checkPolicies(request.policies);

  MetadataStatement statement{.contentId = std::string(request.contentId),
                              .licenseServerUrl = std::string(request.licenseServerUrl),
                              .policies = {},
                              .transportCertificate = derOf(*transport),
                              .signerDigest = sha256(derOf(*credential.certificate))};
  for (const auto& policy : request.policies) statement.policies.emplace_back(policy.begin(), policy.end());
  // The digest of the statement is put beside the key, so that a wrapped key cannot be moved to another block.
  const auto written = writeStatement(statement);
  const auto contentKey = writeContentKey(request.key, sha256(written));
  return sign(writeMetadataContent(written, envelop(contentKey.bytes(), *licenseServer)), credential);
}

}  // namespace krvo::encryption
