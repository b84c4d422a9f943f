#pragma once

#include <string>

#include "host/files/RecordingDirectory.h"
#include "platform/encryption/krvo_unprotect.h"

namespace host {

/// The content key of a recording, and who signed the metadata that it was in.
struct RecordingKey {
  krvo::encryption::Secret key;
  krvo::encryption::SignedMetadata metadata;
};

/// Opens the metadata in the sample descriptions of all segments, which have to be the same, and those of the
/// `.drmmeta` file, which an append makes anew, and which have to hold the same key. Throws CommandError that says why
/// not.
RecordingKey openRecordingKey(const RecordingDirectory& directory, EVP_PKEY& licenseServerKey);

}  // namespace host
