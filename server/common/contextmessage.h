#pragma once

#include <cstdint>
#include <optional>

#include "shared_nqserver/nqmessage.h"

namespace qvs {

/// The time offset that a message "onTimeCoordInfo" sets, in milliseconds: the object in its first argument has it in
/// seconds under "stream-absolute". Truncated and taken modulo 2^32; 0 for a number beyond any time. If the name occurs
/// more than once, the last one counts. Returns nothing for every other message. A malformed one is written to the
/// parse log, and throws nothing.
std::optional<std::uint32_t> readTimeOffset(const SingleMessagePtr& message);

}  // namespace qvs
