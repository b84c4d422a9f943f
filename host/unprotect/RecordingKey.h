#pragma once

#include "host/files/RecordingDirectory.h"
#include "platform/encryption/krvo_unprotect.h"

namespace host {

/// The content key of a recording, and the signed metadata from which it was taken.
struct RecordingKey {
  /// 16 bytes; wiped when the object is destroyed.
  krvo::encryption::Secret key;
  krvo::encryption::SignedMetadata metadata;
};

/// Decrypts the content key with the license server's private key. The metadata in the sample descriptions of all
/// segments must be equal. Those in the `.drmmeta` file may differ, because each append writes them again, but must
/// have the same key. Throws CommandError with the reason if any of this is not so, and if a signature is wrong.
RecordingKey openRecordingKey(const RecordingDirectory& directory, EVP_PKEY& licenseServerKey);

}  // namespace host
