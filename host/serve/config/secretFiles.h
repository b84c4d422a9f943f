#pragma once

#include <string>

namespace host::serve {

/// The one line of a file that contains a secret, without its line end and white space around it. Throws UsageError if
/// the file cannot be read, is empty, or has more than one line. The text of the error has nothing of the content.
std::string readSecretLine(const std::string& path);

/// The token in a file: one line of 16 to 4096 visible ASCII characters, none of which separates values in a cookie.
/// Throws UsageError for anything else.
std::string readToken(const std::string& path);

/// Says that other users can read the file; empty if they cannot, or if that is not known.
std::string permissionWarning(const std::string& path);

}  // namespace host::serve
