#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace qvs::k2r {

/// The stem of a recording's file names: the directory, a backslash, and the text behind the directory's last
/// backslash, which is empty where there is none.
std::string makeBasePath(std::string_view streamPath);

/// `<basePath>Seg<number><extension>`, the number in plain decimal.
std::string formatSegmentName(std::string_view basePath, std::uint32_t number, std::string_view extension);

/// Whether `name` is "Seg<number>" and the extension of a segment or of an index.
bool isSegmentName(std::string_view name);

}  // namespace qvs::k2r
