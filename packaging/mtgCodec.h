#pragma once

#include <cstdint>

#include "util/fourcc.h"

namespace ruvo::k2rpkgutil {

// How a tag-stream source names codecs, and what it takes for the sample in their tags. It differs from tagCodec() in a
// few codecs, and in "avc1" for AVC.

/// 0 for a codec that is not known, as are the other answers then.
qvs::util::FourCC mtgVideoFormat(std::uint32_t codecId);
qvs::util::FourCC mtgAudioFormat(std::uint32_t soundFormat);
/// Bytes of a tag's data in front of its sample.
std::uint32_t mtgVideoHeaderBytes(std::uint32_t codecId);
std::uint32_t mtgAudioHeaderBytes(qvs::util::FourCC format);
/// Hertz.
float mtgSampleRate(std::uint32_t rateIndex);

}  // namespace ruvo::k2rpkgutil
