#pragma once

#include <cstdint>
#include <memory>

#include "packaging/MediaProperties.h"
#include "packaging/Message.h"

namespace ruvo::k2rpkgutil {

/// The description of the samples that `message` begins. AVC and AAC are described by their sequence header alone: any
/// other message of theirs, and one too short to hold a configuration, gives null. The picture size is the caller's to
/// tell, in pixels; it goes into video descriptions as it is.
std::shared_ptr<K2RSampleDescriptor> makeSampleDescriptor(const Message& message, std::uint32_t videoWidth,
                                                          std::uint32_t videoHeight);

}  // namespace ruvo::k2rpkgutil
