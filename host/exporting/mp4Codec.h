#pragma once

#include <cstdint>
#include <span>

extern "C" {
#include <libavcodec/codec_id.h>
}

#include "util/fourcc.h"

namespace host {

/// The codec of a sample description without protection. Throws CommandError for a format that an MP4 of the export
/// cannot have.
AVCodecID codecOf(qvs::util::FourCC format);

/// Samples per frame: 1024 for AAC (ISO/IEC 14496-3, 4.5.1.1); for MP3 1152, and 576 at the low rates of MPEG-2
/// (ISO/IEC 13818-3). `sampleRate` in Hz.
std::int64_t samplesPerFrame(AVCodecID codec, int sampleRate);

/// Sample rate in Hz of an MPEG audio frame (ISO/IEC 11172-3, 2.4.1.3; ISO/IEC 13818-3, 2.4.2.3); 0 if it is malformed.
/// It is read from the frame, because the first byte of a tag can express four rates only.
int mpegSampleRate(std::span<const std::byte> frame);

/// Sample rate in Hz of the coded frames, from an AudioSpecificConfig (ISO/IEC 14496-3, 1.6.2.1). Spectral band
/// replication may double it at playback, but a frame has 1024 samples at this rate.
int aacSampleRate(std::span<const std::byte> configuration);

}  // namespace host
