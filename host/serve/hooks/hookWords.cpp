#include "host/serve/hooks/hookWords.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "host/errors.h"
#include "host/nearestWord.h"

namespace host::serve {
namespace {

struct Placeholder {
  std::string_view name;
  std::string HookSubject::*value;
};

constexpr Placeholder kPlaceholders[] = {
    {"dir", &HookSubject::directory}, {"stream", &HookSubject::stream}, {"name", &HookSubject::recording}};

const Placeholder* findPlaceholder(std::string_view name) {
  const auto* const found = std::ranges::find(kPlaceholders, name, &Placeholder::name);
  return found == std::end(kPlaceholders) ? nullptr : found;
}

/// Calls `onText` for each stretch of a word between placeholders, and `onName` for each name in braces.
template <typename OnText, typename OnName>
void split(std::string_view word, const OnText& onText, const OnName& onName) {
  std::size_t done = 0;
  for (std::size_t open = word.find('{'); open != std::string_view::npos; open = word.find('{', open + 1)) {
    const auto isLetter = [](char c) { return c >= 'a' && c <= 'z'; };
    const std::string_view rest = word.substr(open + 1);
    const auto length = static_cast<std::size_t>(std::ranges::find_if_not(rest, isLetter) - rest.begin());
    if (length == 0 || length == rest.size() || rest[length] != '}') continue;
    onText(word.substr(done, open - done));
    onName(rest.substr(0, length));
    done = open + length + 2;
  }
  onText(word.substr(done));
}

}  // namespace

void checkHookWords(const std::vector<std::string>& words) {
  std::vector<std::string> names;
  for (const Placeholder& placeholder : kPlaceholders) names.emplace_back(placeholder.name);
  const auto check = [&names](std::string_view name) {
    if (findPlaceholder(name) != nullptr) return;
    const std::string near = nearestWord(name, names);
    throw UsageError(
        fmt::format("{{{}}} is unknown; {}", name,
                    near.empty() ? "there are {dir}, {stream} and {name}" : fmt::format("did you mean {{{}}}?", near)));
  };
  for (const std::string& word : words)
    split(
        word, [](std::string_view) {}, check);
}

std::vector<std::string> hookWords(const std::vector<std::string>& words, const HookSubject& subject) {
  std::vector<std::string> replaced;
  for (const std::string& word : words) {
    std::string& text = replaced.emplace_back();
    split(
        word, [&text](std::string_view part) { text += part; },
        [&text, &subject](std::string_view name) {
          const Placeholder* const placeholder = findPlaceholder(name);
          text += placeholder != nullptr ? subject.*placeholder->value : fmt::format("{{{}}}", name);
        });
  }
  return replaced;
}

}  // namespace host::serve
