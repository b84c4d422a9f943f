#pragma once

#include <exception>
#include <string_view>

#include "util/ByteBuffer.h"
#include "util/fourcc.h"

namespace ruvo::k2rpkgutil {

using qvs::util::FourCC;

/// Returns the format code of a protected sample description: "encv" for the handler "vide", "enca" for "soun", "encr"
/// for any other.
FourCC protectedFormat(FourCC handlerCode);
/// Whether `code` is one of these three. No codec has one of them as its own code.
bool isProtectedFormat(FourCC code);

/// Thrown for a protection box that differs from what makeSinfBox() writes. Its what() is that of std::exception: the
/// caller adds the name of the segment.
class MalformedProtection final : public std::exception {};

/// Makes the `sinf` box (ISO/IEC 14496-12, 8.12) that follows the codec data of a protected description. `metadataText`
/// is stored with a zero byte after it. All full boxes have flags 0; strings are without a length.
///
///     sinf
///       frma            u32 the format code in the clear
///       schm  v1        "adkm", u32 1
///       schi
///         adkm  v1
///           ahdr  v2
///             aprm  v1
///               aeib  v1   "AES-CBC" and a zero byte, u8 bytes of the key
///               akey  v1
///                 flxs     the metadata text and a zero byte
///           adaf  v0    u8 0x80: selective encryption, u8 0, u8 bytes of the vector
qvs::util::ByteBuffer makeSinfBox(FourCC clearFormat, std::string_view metadataText);

/// A codec header split into its parts, which are copies.
struct ProtectedCodecHeader {
  FourCC clearFormat = 0;
  /// The bytes before the `sinf` box; empty for script data.
  qvs::util::ByteBuffer codec;
  /// From the first byte of the `sinf` box to the end of the header.
  qvs::util::ByteBuffer sinf;
};

/// Splits a codec header at its first `sinf` box, which has to be its last box. Throws MalformedProtection if there is
/// none, or if its bytes are not exactly those that makeSinfBox() writes for its format code and text.
ProtectedCodecHeader splitCodecHeader(const qvs::util::ByteBuffer& header);

}  // namespace ruvo::k2rpkgutil
