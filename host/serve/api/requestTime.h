#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "host/serve/http/HttpMessage.h"

namespace host::serve {

/// A moment in a request, in milliseconds since 1970-01-01 UTC: RFC 3339 (`2026-11-25T14:03:20.5+01:00`, `...Z`) or
/// Unix seconds (`1795615400.5`), in the years 1970 to 9999. What is finer than a millisecond is cut off. Nothing if
/// the text is neither.
std::optional<std::int64_t> parseMoment(std::string_view text);

/// A length of time in milliseconds: seconds (`90`, `2.5`), or as in the configuration (`15m`). Nothing if the text is
/// neither.
std::optional<std::int64_t> lengthInRequest(std::string_view text);

/// The time a request asks for. What it leaves out is empty.
struct RequestedTime {
  std::optional<std::int64_t> startMs;
  std::optional<std::int64_t> endMs;
};

/// From the parameters `start` and `end`, or `start` and `duration`. Throws HttpError (400) if one is malformed, if the
/// end is not after the start, if `end` and `duration` are both there, or a `duration` without a `start`.
RequestedTime requestedTime(const HttpRequest& request);

/// The moment in the parameter `name`; nothing if it is not there. Throws HttpError (400) if it is malformed.
std::optional<std::int64_t> requestedMoment(const HttpRequest& request, std::string_view name);

}  // namespace host::serve
