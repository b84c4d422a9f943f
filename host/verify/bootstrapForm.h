#pragma once

#include <cstdint>
#include <span>

#include "fragmentation/BootstrapInfo.h"
#include "host/verify/Findings.h"

namespace host {

// Checks of one `abst` box, in the bootstrap file or in a fragment. `offset` is that of the box in its file.

/// Returns whether `bytes` are exactly the image that a recorder writes for `info`, and the fields that are the same in
/// every recording have their values. Reports the first difference. `bytes` is the whole box with its header. A
/// recorder has one form for each content, so any other byte is a fault or comes from another program.
bool checkBootstrapForm(std::span<const std::byte> bytes, const ruvo::k2r::BootstrapInfo& info, std::uint64_t offset,
                        const FileFindings& out);

/// Reports each field in which `found` differs from `expected`, up to the first field that only one of them has. Each
/// finding has the offset of the field, computed from the lengths of the fields before it.
void reportDifferences(const ruvo::k2r::BootstrapInfo& expected, const ruvo::k2r::BootstrapInfo& found,
                       std::uint64_t offset, const FileFindings& out);

}  // namespace host
