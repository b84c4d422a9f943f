#include "host/serve/http/conditions.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <limits>

#include "util/asciiCase.h"

namespace host::serve {
namespace {

constexpr std::uint64_t kHuge = std::numeric_limits<std::uint64_t>::max();

/// The bytes [first, last] of an answer; `first` may be after its end.
struct ByteRange {
  std::uint64_t first = 0;
  std::uint64_t last = 0;
};

/// Digits alone; a number that is too large becomes kHuge.
std::optional<std::uint64_t> position(std::string_view digits) {
  std::uint64_t value = 0;
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (digits.empty() || result.ptr != digits.data() + digits.size()) return std::nullopt;
  return result.ec == std::errc::result_out_of_range ? kHuge : value;
}

/// `5-9`, `5-` or `-5`, of a body with `size` bytes.
std::optional<ByteRange> parseSpan(std::string_view text, std::uint64_t size) {
  const std::size_t dash = text.find('-');
  if (dash == std::string_view::npos) return std::nullopt;
  const auto first = position(text.substr(0, dash));
  const auto last = position(text.substr(dash + 1));
  if (dash == 0) {
    if (!last) return std::nullopt;
    // No bytes at the end are a range that starts there, which no body has.
    return ByteRange{.first = size - std::min(size, *last), .last = kHuge};
  }
  if (!first || (!last && dash + 1 != text.size())) return std::nullopt;
  if (last && *last < *first) return std::nullopt;
  return ByteRange{.first = *first, .last = last.value_or(kHuge)};
}

/// Nothing if the header is to be ignored: it is malformed, or asks for several ranges.
std::optional<ByteRange> parseRange(std::string_view header, std::uint64_t size) {
  constexpr std::string_view kUnit = "bytes=";
  if (!qvs::util::equalInAnyCase(header.substr(0, kUnit.size()), kUnit)) return std::nullopt;
  header.remove_prefix(kUnit.size());
  while (header.starts_with(' ')) header.remove_prefix(1);
  while (header.ends_with(' ')) header.remove_suffix(1);
  return parseSpan(header, size);
}

/// Whether a list of tags (If-None-Match) has this one; weak ones count as equal.
bool isListed(std::string_view list, std::string_view etag) {
  const auto isBetween = [](char c) { return c == ' ' || c == '\t' || c == ','; };
  while (!list.empty()) {
    if (isBetween(list.front())) {
      list.remove_prefix(1);
      continue;
    }
    if (list == "*") return true;
    if (list.starts_with("W/")) list.remove_prefix(2);
    if (list.starts_with(etag)) return true;
    const std::size_t end = list.starts_with('"') ? list.find('"', 1) : std::string_view::npos;
    if (end == std::string_view::npos) return false;
    list.remove_prefix(end + 1);
  }
  return false;
}

void takeRange(HttpResponse& response, ByteRange range) {
  const std::uint64_t size = response.body.size();
  if (range.first >= size) {
    response =
        errorResponse({.status = 416, .text = fmt::format("the range begins after the {} bytes there are", size)});
    response.headers.emplace_back("Content-Range", fmt::format("bytes */{}", size));
    return;
  }
  const std::uint64_t last = std::min(range.last, size - 1);
  response.status = 206;
  response.headers.emplace_back("Content-Range", fmt::format("bytes {}-{}/{}", range.first, last, size));
  response.body = response.body.slice(range.first, last - range.first + 1);
}

}  // namespace

void applyConditions(const HttpRequest& request, HttpResponse& response) {
  const bool isGet = request.method == "GET";
  if (response.status != 200 || response.etag.empty() || (!isGet && request.method != "HEAD")) return;
  response.headers.emplace_back("Accept-Ranges", "bytes");
  if (const std::string* known = request.header("if-none-match"); known != nullptr && isListed(*known, response.etag)) {
    response.status = 304;
    return;
  }
  const std::string* range = request.header("range");
  // Ranges are defined for GET alone.
  if (!isGet || range == nullptr) return;
  const std::string* ifRange = request.header("if-range");
  // Dates are never equal to a tag, nor are weak tags: they get the whole.
  if (ifRange != nullptr && *ifRange != response.etag) return;
  if (const auto asked = parseRange(*range, response.body.size())) takeRange(response, *asked);
}

}  // namespace host::serve
