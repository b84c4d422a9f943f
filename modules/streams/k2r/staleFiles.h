#pragma once

#include <string>

namespace qvs::k2r {

/// Removes what would be taken for a part of a new recording, where the old one of the stem `basePath` could not be
/// removed as a whole: its bootstrap and descriptions, and the segments and indexes of every number. The control file
/// stays, since its base time is the new recording's. Throws QVSException where one of them cannot be removed, or the
/// directory not be listed.
void removeStaleFiles(const std::string& basePath);

}  // namespace qvs::k2r
