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

RecordingPaths::RecordingPaths(const std::string& basePath)
    : index(basePath + ".k2i"),
      bootstrap(basePath + ".bootstrap"),
      drmMeta(basePath + ".drmmeta"),
      meta(basePath + ".meta"),
      control(basePath + ".control") {}

}  // namespace qvs::k2r
