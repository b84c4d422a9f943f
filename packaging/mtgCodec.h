#pragma once

#include <cstdint>

#include "util/fourcc.h"

namespace ruvo::k2rpkgutil {

// The codecs of a stored tag stream, as MTGMediaSource describes them. Kept apart from tagCodec(), from which it
// differs on purpose: AVC is "avc1", PCM, ADPCM and MP3 at 8 kHz count as ".mp3", and the lowest rate is 5500 Hz.

/// The format code for a codec id (low nibble of the first data byte of a video tag); 0 for an unknown one.
qvs::util::FourCC mtgVideoFormat(std::uint32_t codecId);
/// The format code for a sound format (high nibble of the first data byte of an audio tag); 0 for an unknown one.
qvs::util::FourCC mtgAudioFormat(std::uint32_t soundFormat);
/// Bytes of a video tag's data before its sample; 0 for an unknown codec id.
std::uint32_t mtgVideoHeaderBytes(std::uint32_t codecId);
/// Bytes of an audio tag's data before its sample, by a code of mtgAudioFormat(); 0 for the code 0.
std::uint32_t mtgAudioHeaderBytes(qvs::util::FourCC format);
/// Hertz, by the two rate bits of an audio tag; higher bits of `rateIndex` are ignored.
float mtgSampleRate(std::uint32_t rateIndex);

}  // namespace ruvo::k2rpkgutil
