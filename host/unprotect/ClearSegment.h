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

/// A tag as it was before it was protected: without filter, in the clear. One without a filter stays as it is. Throws
/// CommandError, naming `name` and the offset, for a filter or a cipher text that is none under this key.
std::vector<std::byte> clearTag(FileView& file, const TagContent& tag, krvo::encryption::SampleDecipher& decipher,
                                const std::string& name);

/// Writes the segment `from` again as `to`: the same tracks, fragments and times, all tags clear. Only the fragments at
/// `positions` are written. Answers where each of them begins now. Throws CommandError.
std::map<std::uint64_t, std::uint64_t> writeClearSegment(const std::string& from, const std::string& to,
                                                         const std::set<std::uint64_t>& positions,
                                                         krvo::encryption::SampleDecipher& decipher);

}  // namespace host
