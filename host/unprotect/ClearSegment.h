#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "host/files/FileView.h"
#include "host/files/TagContent.h"
#include "platform/encryption/krvo_unprotect.h"

namespace host {

/// Returns the bytes of a tag as they were before it was protected: without filter fields, decrypted, and with the
/// sizes in header and back pointer corrected. A tag without a filter is returned unchanged. Throws CommandError, with
/// `name` and the offset, for malformed filter fields, and for cipher text that does not decrypt with this key;
/// SegmentError if the file cannot be read. One tag is in memory at a time.
std::vector<std::byte> clearTag(FileView& file, const TagContent& tag, krvo::encryption::SampleDecipher& decipher,
                                const std::string& name);

/// Writes the segment `from` to the new file `to`: the same tracks, fragments and times, with all tags in the clear.
/// Only the fragments at `positions` (byte offsets in `from`) are written. Returns the new position of each. Throws
/// CommandError if that fails; `to` is then incomplete. The map lets the caller correct the index. `decipher` has the
/// content key of the recording.
std::map<std::uint64_t, std::uint64_t> writeClearSegment(const std::string& from, const std::string& to,
                                                         const std::set<std::uint64_t>& positions,
                                                         krvo::encryption::SampleDecipher& decipher);

}  // namespace host
