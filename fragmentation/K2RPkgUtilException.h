#pragma once

#include <cstdint>
#include <string>

#include "util/QVSException.h"

namespace ruvo::k2rpkgutil {

/// The number in the message.
enum class K2RPkgUtilError : std::uint32_t {
  kFileNotFound = 1,
  kCantOpenFile = 2,
  kNoSupportedTracks = 3,
  kMetadataGenerationFailed = 4,
};

/// A failure of the packager with a number: "Error (4)", or "Error (4) - " and a text. A sibling of K2RUtilException
/// with numbers of its own.
class K2RPkgUtilException : public qvs::QVSException {
 public:
  explicit K2RPkgUtilException(K2RPkgUtilError code) : QVSException(numbered(code)), code_(code) {}
  K2RPkgUtilException(K2RPkgUtilError code, const std::string& text)
      : QVSException(numbered(code) + " - " + text), code_(code) {}

  K2RPkgUtilError code() const { return code_; }

 private:
  static std::string numbered(K2RPkgUtilError code) {
    return "Error (" + std::to_string(static_cast<std::uint32_t>(code)) + ")";
  }

  K2RPkgUtilError code_;
};

/// A failure at a file: the text, and the path in apostrophes.
class K2RPkgUtilFileException : public K2RPkgUtilException {
 public:
  K2RPkgUtilFileException(K2RPkgUtilError code, const std::string& text, const std::string& path)
      : K2RPkgUtilException(code, text + " '" + path + "'"), path_(path) {}

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

/// For a packager of files, like the two below: the recorder itself raises none of the three.
class FileNotFoundException final : public K2RPkgUtilFileException {
 public:
  explicit FileNotFoundException(const std::string& path)
      : K2RPkgUtilFileException(K2RPkgUtilError::kFileNotFound, "Cannot find file", path) {}
};

/// Not the class of that name in ruvo::k2r, which loadFile() throws.
class CantOpenFileException final : public K2RPkgUtilFileException {
 public:
  explicit CantOpenFileException(const std::string& path)
      : K2RPkgUtilFileException(K2RPkgUtilError::kCantOpenFile, "Cannot open file", path) {}
};

/// No track has a codec that can be stored.
class NoSupportedTracksException final : public K2RPkgUtilFileException {
 public:
  explicit NoSupportedTracksException(const std::string& path)
      : K2RPkgUtilFileException(K2RPkgUtilError::kNoSupportedTracks, "No supported tracks in file", path) {}
};

/// The encryption library reported success and made no metadata.
class DRMMetadataGenerationFailed final : public K2RPkgUtilException {
 public:
  DRMMetadataGenerationFailed()
      : K2RPkgUtilException(K2RPkgUtilError::kMetadataGenerationFailed, "DRM metadata generation failed") {}
};

}  // namespace ruvo::k2rpkgutil
