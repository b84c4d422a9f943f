#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace host {

/// The one of `words` that `typed` was probably meant to be: it differs in at most a third of its letters, whatever
/// their case, in the whole word or in the part after the last slash. Empty if there is none.
std::string nearestWord(std::string_view typed, const std::vector<std::string>& words);

}  // namespace host
