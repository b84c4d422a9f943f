#include "host/serve/config/maskedSource.h"

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include "util/asciiCase.h"

namespace host::serve {
namespace {

constexpr std::string_view kMask = "***";
constexpr std::string_view kSchemeEnd = "://";
/// Where the part of a URL that names user and host ends. The bar separates the URLs of a `concat:` one.
constexpr std::string_view kAuthorityEnd = "/?#|";
/// Of SRT. It often has a user and a password in it, between separators of any kind.
constexpr std::string_view kStreamId = "streamid";
/// What the schemes of RTMP begin with.
constexpr std::string_view kRtmp = "rtmp";
/// A shorter secret is masked in its URL only: elsewhere it would be every other word.
constexpr std::size_t kShortestInText = 3;

struct Span {
  std::size_t begin;
  std::size_t end;
};

char lowerCase(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

bool isLetter(char c) {
  return lowerCase(c) >= 'a' && lowerCase(c) <= 'z';
}

bool isWordCharacter(char c) {
  return isLetter(c) || isDigit(c);
}

bool isSecretName(std::string_view name) {
  std::string lower(name);
  std::ranges::transform(lower, lower.begin(), lowerCase);
  const auto isIn = [&lower](std::string_view word) { return lower.find(word) != std::string::npos; };
  constexpr std::string_view kWords[] = {"pass", "pw",   "psw", "secret",  "token",  "key",      "auth",
                                         "sig",  "cred", "psk", "headers", "cookie", "playpath", kStreamId};
  return std::ranges::any_of(kWords, isIn);
}

/// Where the user name begins in text that follows `://`, and where the `@` after the password is.
void findPassword(std::string_view text, std::size_t begin, std::vector<Span>& found) {
  std::size_t end = std::min(text.find_first_of(kAuthorityEnd, begin), text.size());
  std::size_t at = text.substr(0, end).rfind('@');
  const std::size_t colon = text.find(':', begin);
  if (colon >= end) return;
  if (at == std::string_view::npos || at < colon) {
    // No password, or one that was written with a slash or the like in it. A port has digits only.
    if (end > colon + 1 && std::ranges::all_of(text.substr(colon + 1, end - colon - 1), isDigit)) return;
    const bool isNumericHost = text[begin] == '[';
    end = std::min({text.find("://", begin), text.find_first_of("'\"\n", begin), text.size()});
    at = text.substr(0, end).rfind('@');
    if (isNumericHost || at == std::string_view::npos || at < colon) return;
  }
  found.push_back({colon + 1, at});
}

void findPasswords(std::string_view text, std::vector<Span>& found) {
  for (std::size_t mark = text.find(kSchemeEnd); mark != std::string_view::npos;
       mark = text.find(kSchemeEnd, mark + 1)) {
    if (mark + kSchemeEnd.size() < text.size()) findPassword(text, mark + kSchemeEnd.size(), found);
  }
}

/// RTMP servers take the key of a stream as the last part of its path, after the name of the application.
void findStreamKeys(std::string_view text, std::vector<Span>& found) {
  for (std::size_t mark = text.find(kSchemeEnd); mark != std::string_view::npos;
       mark = text.find(kSchemeEnd, mark + 1)) {
    std::size_t scheme = mark;
    while (scheme > 0 && isLetter(text[scheme - 1])) --scheme;
    if (!qvs::util::equalInAnyCase(text.substr(scheme, std::min(mark - scheme, kRtmp.size())), kRtmp)) continue;
    const std::size_t path = text.find('/', mark + kSchemeEnd.size());
    std::size_t end = std::min(text.find_first_of("?#|'\" \t\n", mark), text.size());
    while (end > mark && text[end - 1] == '/') --end;
    const std::size_t slash = text.substr(0, end).rfind('/');
    if (path < slash && slash < end) found.push_back({slash + 1, end});
  }
}

/// libavformat takes `rtsp:user:password@host`, too. Not for texts, in which a colon may be anywhere.
void findBarePassword(std::string_view source, std::vector<Span>& found) {
  if (source.find(kSchemeEnd) != std::string_view::npos) return;
  const std::size_t end = std::min(source.find_first_of(kAuthorityEnd), source.size());
  const std::size_t at = source.substr(0, end).rfind('@');
  const std::size_t colon = source.find(':');
  if (at != std::string_view::npos && colon < at) found.push_back({colon + 1, at});
}

/// Cameras have such pairs in the path, too, separated by anything.
void findPairs(std::string_view text, std::vector<Span>& found) {
  for (std::size_t equals = text.find('='); equals != std::string_view::npos; equals = text.find('=', equals + 1)) {
    std::size_t name = equals;
    const auto isNameCharacter = [](char c) { return isWordCharacter(c) || c == '_' || c == '-' || c == '.'; };
    while (name > 0 && isNameCharacter(text[name - 1])) --name;
    const std::string_view word = text.substr(name, equals - name);
    if (!isSecretName(word)) continue;
    const bool isStreamId = qvs::util::equalInAnyCase(word, kStreamId);
    const std::size_t end =
        std::min(text.find_first_of(isStreamId ? "&'\" \t\n" : "&;#|,'\" \t\n", equals + 1), text.size());
    if (end > equals + 1) found.push_back({equals + 1, end});
  }
}

/// By rising begin, none overlapping another.
std::vector<Span> joined(std::vector<Span> found) {
  std::ranges::sort(found, {}, &Span::begin);
  std::vector<Span> spans;
  for (const Span& span : found) {
    if (spans.empty() || span.begin > spans.back().end) {
      spans.push_back(span);
    } else {
      spans.back().end = std::max(spans.back().end, span.end);
    }
  }
  return spans;
}

std::vector<Span> secretsInText(std::string_view text) {
  std::vector<Span> found;
  findPasswords(text, found);
  findPairs(text, found);
  findStreamKeys(text, found);
  return joined(std::move(found));
}

std::vector<Span> secretsInSource(std::string_view source) {
  std::vector<Span> found = secretsInText(source);
  findBarePassword(source, found);
  return joined(std::move(found));
}

std::string masked(std::string_view text, const std::vector<Span>& secrets) {
  std::string result;
  std::size_t copied = 0;
  for (const Span& secret : secrets) {
    result += text.substr(copied, secret.begin - copied);
    result += kMask;
    copied = secret.end;
  }
  result += text.substr(copied);
  return result;
}

std::string percentDecoded(std::string_view text) {
  const auto digit = [](char c) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    return kDigits.find(lowerCase(c));
  };
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size() && digit(text[i + 1]) < 16 && digit(text[i + 2]) < 16) {
      decoded += static_cast<char>(digit(text[i + 1]) * 16 + digit(text[i + 2]));
      i += 2;
    } else {
      decoded += text[i];
    }
  }
  return decoded;
}

/// Masks the secret where it is a whole word: one that is short would otherwise be found within others.
void maskWords(std::string& text, std::string_view secret) {
  const auto isWithinWord = [&text](std::size_t at) {
    return at > 0 && at < text.size() && isWordCharacter(text[at - 1]) && isWordCharacter(text[at]);
  };
  for (std::size_t at = text.find(secret); at != std::string::npos; at = text.find(secret, at)) {
    if (isWithinWord(at) || isWithinWord(at + secret.size())) {
      ++at;
    } else {
      text.replace(at, secret.size(), kMask);
      at += kMask.size();
    }
  }
}

}  // namespace

std::string maskedSource(std::string_view source) {
  return masked(source, secretsInSource(source));
}

std::string maskedOption(std::string_view assignment) {
  const std::size_t equals = assignment.find('=');
  if (equals == std::string_view::npos || !isSecretName(assignment.substr(0, equals))) return maskedSource(assignment);
  return std::string(assignment.substr(0, equals + 1)) + std::string(kMask);
}

std::string maskedText(std::string_view text, std::string_view source) {
  std::string result = masked(text, secretsInText(text));
  for (const Span& span : secretsInSource(source)) {
    const std::string secret(source.substr(span.begin, span.end - span.begin));
    for (const std::string& form : {secret, percentDecoded(secret)}) {
      if (form.size() >= kShortestInText && form != kMask) maskWords(result, form);
    }
  }
  return result;
}

}  // namespace host::serve
