#pragma once

#include <cstddef>
#include <cstdint>

namespace host::serve {

/// How large the files of an Exporter may be.
struct ExportLimits {
  std::size_t samples = 8'000'000;
  std::size_t segmentFiles = 500;
  /// Of the boxes before the media, which are in memory; all files together that are being sent.
  std::uint64_t bytes = std::uint64_t{512} << 20;
};

}  // namespace host::serve
