#pragma once

#include <string>

#include "host/output.h"
#include "platform/container/reading/Movie.h"

namespace host {

/// What a metadata text in Base64 contains, as far as it can be read without a key; under `unreadable` why it cannot be
/// read, or that its signature is wrong.
Json describeMetadata(const std::string& text);

/// The protection of a track's description; null if it is not protected.
Json describeProtection(const krvo::container::SampleDescription& description);

}  // namespace host
