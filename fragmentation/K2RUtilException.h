#pragma once

#include <cstdint>
#include <string>

#include "util/QVSException.h"

namespace ruvo::k2r {

/// A failure with a number: "Error (2) - " and a text.
class K2RUtilException : public qvs::QVSException {
 public:
  K2RUtilException(std::uint32_t code, const std::string& text)
      : QVSException("Error (" + std::to_string(code) + ") - " + text), code_(code) {}

  /// The number in the text, such as 2 for a file that cannot be opened.
  std::uint32_t code() const { return code_; }

 private:
  std::uint32_t code_;
};

/// A failure at a file: the text, a blank, and the path in apostrophes.
class K2RUtilFileException : public K2RUtilException {
 public:
  K2RUtilFileException(std::uint32_t code, const std::string& text, const std::string& path)
      : K2RUtilException(code, text + " '" + path + "'"), path_(path) {}

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

/// A file that a setting names cannot be opened.
class CantOpenFileException final : public K2RUtilFileException {
 public:
  explicit CantOpenFileException(const std::string& path) : K2RUtilFileException(2, "Cannot open file", path) {}
};

}  // namespace ruvo::k2r
