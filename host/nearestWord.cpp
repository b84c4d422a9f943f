#include "host/nearestWord.h"

#include <algorithm>
#include <cstddef>
#include <numeric>

#include "util/asciiCase.h"

namespace host {

using qvs::util::lowerCase;

namespace {

/// No name is as long; the cost of a comparison grows with the square.
constexpr std::size_t kLongestWord = 100;

/// How many letters have to be inserted, removed or replaced (Levenshtein's distance, by rows).
std::size_t distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i + 1;
    for (std::size_t j = 0; j < b.size(); ++j) {
      const std::size_t replaced = diagonal + (lowerCase(a[i]) == lowerCase(b[j]) ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
    }
  }
  return row.back();
}

std::string_view lastPart(std::string_view word) {
  return word.substr(word.rfind('/') + 1);  // All of it if there is no slash.
}

}  // namespace

std::string nearestWord(std::string_view typed, const std::vector<std::string>& words) {
  std::string nearest;
  std::size_t least = kLongestWord;
  if (typed.size() > kLongestWord) return nearest;
  for (const std::string& word : words) {
    // A setting is often typed without what comes before its last slash.
    for (const auto& [a, b] : {std::pair(typed, std::string_view(word)), std::pair(lastPart(typed), lastPart(word))}) {
      const std::size_t found = distance(a, b);
      if (found >= least || found > a.size() / 3) continue;
      least = found;
      nearest = word;
    }
  }
  return nearest;
}

}  // namespace host
