#include "host/inspect/describeProtection.h"

#include "host/files/Malformed.h"
#include "host/files/protection.h"
#include "platform/encryption/krvo_unprotect.h"

namespace host {
namespace {

/// What the packager signed and anybody may read; the content key in the block is for the license server alone.
Json describeSigned(const krvo::encryption::SignedMetadata& metadata) {
  const auto& statement = metadata.content.statement;
  Json policyBytes = Json::array();
  for (const auto& policy : statement.policies) policyBytes.push_back(policy.size());
  return {{"contentId", statement.contentId},
          {"licenseServerUrl", statement.licenseServerUrl},
          {"policyBytes", std::move(policyBytes)},
          {"signer", metadata.signer},
          {"signerFingerprint", hexText(metadata.signerFingerprint)}};
}

}  // namespace

Json describeMetadata(const std::string& text) {
  // Known also of a text that cannot be decoded.
  Json document = {{"metadataCharacters", text.size()}};
  try {
    // Verified first: fields of a block whose signature is wrong could say anything.
    document.update(describeSigned(krvo::encryption::verifyMetadataBlock(metadataBlock(text))));
  } catch (const Malformed& error) {
    document["unreadable"] = error.what();
  } catch (const krvo::encryption::UnprotectError& error) {
    document["unreadable"] = error.what();
  }
  return document;
}

Json describeProtection(const krvo::container::SampleDescription& description) {
  try {
    const auto protection = readProtection(description);
    return protection ? describeMetadata(protection->metadata) : Json();
  } catch (const Malformed& error) {
    return {{"unreadable", error.what()}};
  }
}

}  // namespace host
