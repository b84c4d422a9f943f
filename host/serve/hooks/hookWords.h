#pragma once

#include <string>
#include <vector>

namespace host::serve {

/// A finished recording, as a hook gets it.
struct HookSubject {
  /// Native path of the recording's directory.
  std::string directory;
  std::string stream;
  /// Name of the directory.
  std::string recording;
};

/// Throws UsageError if the words of a hook have a placeholder, lower-case letters in braces, that does not exist. All
/// other braces are left to the program.
void checkHookWords(const std::vector<std::string>& words);

/// The words with {dir}, {stream} and {name} replaced, wherever in a word they are. What is put in is not looked
/// through again.
std::vector<std::string> hookWords(const std::vector<std::string>& words, const HookSubject& subject);

}  // namespace host::serve
