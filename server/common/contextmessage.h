#pragma once

#include <cstdint>
#include <optional>

#include "shared_nqserver/nqmessage.h"

namespace qvs {

/// What a command "onTimeCoordInfo" sets as a stream's time offset: the last number of seconds that the object in its
/// first argument has under "stream-absolute", as milliseconds, truncated and taken modulo 2^32; 0 where it is beyond
/// any time. Nothing of any other message, a malformed one included, which goes to the parse log.
std::optional<std::uint32_t> readTimeOffset(const SingleMessagePtr& message);

}  // namespace qvs
