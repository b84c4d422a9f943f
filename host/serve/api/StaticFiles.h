#pragma once

#include <map>
#include <string>

#include "host/serve/api/Router.h"
#include "host/serve/http/HttpMessage.h"

namespace host::serve {

/// The files of the page: the value of the environment variable K2R_WEB, else `../share/k2r/web` from the folder of
/// this program.
std::string webFolder();

/// The files of a folder, read once, so that no request ever names a file. Small: they stay in memory.
class StaticFiles {
 public:
  /// Reads the files below the folder whose names have only letters, digits, dots, dashes and underscores. A folder
  /// that is missing has none. Throws std::filesystem::filesystem_error or std::ios_base::failure for what cannot be
  /// read.
  explicit StaticFiles(const std::string& folder);

  /// Adds each file at its path, and the index at `/`.
  void addRoutes(Router& router) const;

 private:
  /// By address.
  std::map<std::string, HttpResponse> files_;
};

}  // namespace host::serve
