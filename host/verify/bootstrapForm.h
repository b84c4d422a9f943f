#pragma once

#include <cstdint>
#include <span>

#include "fragmentation/BootstrapInfo.h"
#include "host/verify/Findings.h"

namespace host {

// An `abst` box, in its own file or in a fragment. `offset` is its place in the file.

/// Whether `bytes` are the one image that a recorder writes for `info`, with nothing behind it, and the fields that are
/// the same in every recording have their values.
bool checkBootstrapForm(std::span<const std::byte> bytes, const ruvo::k2r::BootstrapInfo& info, std::uint64_t offset,
                        const FileFindings& out);

/// Reports each field in which `found` is not `expected`, up to where the two have different fields.
void reportDifferences(const ruvo::k2r::BootstrapInfo& expected, const ruvo::k2r::BootstrapInfo& found,
                       std::uint64_t offset, const FileFindings& out);

}  // namespace host
