#include "util/diagnostics.h"

#include <boost/format.hpp>
#include <string_view>

namespace qvs::util {

std::string diagnosticText(const char* file, int line) {
  std::string_view path = file;
  if (const std::size_t root = path.find("lodkin"); root != std::string_view::npos) path.remove_prefix(root);
  return (boost::format("%s failed in %s line %d") % "Assert" % path % line).str();
}

void diagnose(bool holds, const char* file, int line) {
  if (!holds) static_cast<void>(diagnosticText(file, line));
}

}  // namespace qvs::util
