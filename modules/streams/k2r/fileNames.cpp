#include "modules/streams/k2r/fileNames.h"

namespace qvs::k2r {

std::string makeBasePath(std::string_view streamPath) {
  const std::size_t separator = streamPath.rfind('\\');
  const std::string_view name =
      separator == std::string_view::npos ? std::string_view() : streamPath.substr(separator + 1);
  std::string basePath(streamPath);
  basePath += '\\';
  basePath += name;
  return basePath;
}

std::string formatSegmentName(std::string_view basePath, std::uint32_t number, std::string_view extension) {
  std::string name(basePath);
  name += "Seg";
  name += std::to_string(number);
  name += extension;
  return name;
}

bool isSegmentName(std::string_view name) {
  constexpr std::string_view kMark = "Seg";
  if (!name.starts_with(kMark) || !(name.ends_with(".k2r") || name.ends_with(".k2i"))) return false;
  const std::string_view number = name.substr(kMark.size(), name.rfind('.') - kMark.size());
  return !number.empty() && number.find_first_not_of("0123456789") == std::string_view::npos;
}

}  // namespace qvs::k2r
