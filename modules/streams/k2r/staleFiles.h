#pragma once

#include "fileset/FileNames.h"

namespace qvs::k2r {

/// Removes what would be taken for a part of a new recording if the host could not remove the old one as a whole: its
/// bootstrap and descriptions, and the segments and indexes of every number. The control file stays, because its base
/// time is the new recording's. Throws QVSException if one of them cannot be removed, or the directory not be listed.
void removeStaleFiles(const fileset::FileNames& names);

}  // namespace qvs::k2r
