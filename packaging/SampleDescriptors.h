#pragma once

#include <cstdint>
#include <memory>

#include "packaging/MediaProperties.h"
#include "packaging/Message.h"

namespace ruvo::k2rpkgutil {

/// Makes the sample description for the track that `message` begins. AVC (ISO/IEC 14496-15) and AAC (ISO/IEC 14496-3)
/// are described by their sequence header only. Returns null for any other message of these two, for one too short to
/// contain a configuration, and for a message that is neither video, audio nor data.
///
/// `videoWidth` and `videoHeight`, in pixels, are stored unchanged in a video description: the stream's metadata have
/// them, not the message. The result owns copies of everything it needs. Throws std::bad_alloc.
std::shared_ptr<K2RSampleDescriptor> makeSampleDescriptor(const Message& message, std::uint32_t videoWidth,
                                                          std::uint32_t videoHeight);

}  // namespace ruvo::k2rpkgutil
