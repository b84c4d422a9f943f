#pragma once

#include <cstddef>
#include <vector>

#include "host/serve/media/ExportMedia.h"

namespace host::serve {

/// What an exported MP4 file has before its media: `ftyp`, `moov` and the header of the `mdat`. `media` is finished;
/// players present the part `presented` of it. Throws std::out_of_range if a number does not fit in its field.
///
///     ftyp  isom iso2 avc1 mp41
///     moov  mvhd in ms  a trak for each track that is presented, numbered from 1: edts if needed, sample tables
///     mdat  size and type, 8 or 16 bytes
std::vector<std::byte> makeExportFront(const ExportMedia& media, const FileSpan& presented);

}  // namespace host::serve
