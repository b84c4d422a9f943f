#pragma once

#include <exception>
#include <string_view>

#include "util/ByteBuffer.h"
#include "util/fourcc.h"

namespace ruvo::k2rpkgutil {

using qvs::util::FourCC;

/// The format code of a protected sample description: "encv" for "vide", "enca" for "soun", "encr" for any other
/// handler.
FourCC protectedFormat(FourCC handlerCode);
bool isProtectedFormat(FourCC code);

/// A protection box that is not what makeSinfBox() writes. Has no text: it says no more than that.
class MalformedProtection final : public std::exception {};

/// The `sinf` box (ISO/IEC 14496-12, 8.12) behind the codec data of a protected description. Full boxes have flags 0.
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

/// A codec header taken apart.
struct ProtectedCodecHeader {
  FourCC clearFormat = 0;
  /// What stands in front of the `sinf` box.
  qvs::util::ByteBuffer codec;
  qvs::util::ByteBuffer sinf;
};

/// Splits a codec header at its first `sinf` box, with which it ends. Throws MalformedProtection where there is none or
/// it is not exactly what makeSinfBox() writes for its format code and text.
ProtectedCodecHeader splitCodecHeader(const qvs::util::ByteBuffer& header);

}  // namespace ruvo::k2rpkgutil
