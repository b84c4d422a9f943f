#pragma once

#include <cstddef>
#include <span>
#include <stdexcept>
#include <vector>

namespace host::serve {

/// A picture that cannot be made into a JPEG. One sentence for the user.
class PictureError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Decodes an AVC key frame, and codes it as JPEG with the range of values that JPEG has. `configuration` is the
/// `AVCDecoderConfigurationRecord` (ISO/IEC 14496-15, 5.3.3.1), `sample` the frame as in an MP4 file. 4:2:0, 4:2:2,
/// 4:4:4 and monochrome with 8 to 14 bits are possible, up to 8192 by 4320 pixels, which take 150 MB for a moment. Uses
/// no thread of its own. Throws PictureError for a frame that is damaged, too large or of another format, and
/// std::bad_alloc.
std::vector<std::byte> keyFrameJpeg(std::span<const std::byte> configuration, std::span<const std::byte> sample);

}  // namespace host::serve
