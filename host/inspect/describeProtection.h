#pragma once

#include <string>

#include "host/output.h"
#include "platform/container/reading/Movie.h"

namespace host {

/// What a metadata text in Base64 says, as far as it can be read without a key, and whether its signature holds.
Json describeMetadata(const std::string& text);

/// The protection of a track's description; null where it has none.
Json describeProtection(const krvo::container::SampleDescription& description);

}  // namespace host
