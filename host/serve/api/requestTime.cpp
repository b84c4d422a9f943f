#include "host/serve/api/requestTime.h"

#include <fmt/format.h>

#include <charconv>
#include <chrono>
#include <string>

#include "host/errors.h"
#include "host/serve/config/units.h"

namespace host::serve {
namespace {

constexpr std::int64_t kYear10000Ms = 253402300800000;

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

/// Takes texts from the front of a text.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : rest_(text) {}

  bool atEnd() const { return rest_.empty(); }
  /// Takes one character if it is among `wanted`.
  bool skip(std::string_view wanted) {
    if (rest_.empty() || wanted.find(rest_.front()) == std::string_view::npos) return false;
    rest_.remove_prefix(1);
    return true;
  }
  /// The digits at the front, of which there are from `least` to `most`.
  std::optional<std::int64_t> digits(std::size_t least, std::size_t most) {
    std::size_t count = 0;
    while (count < rest_.size() && isDigit(rest_[count])) ++count;
    if (count < least || count > most) return std::nullopt;
    std::int64_t value = 0;
    std::from_chars(rest_.data(), rest_.data() + count, value);
    rest_.remove_prefix(count);
    return value;
  }
  /// Thousandths after a point; 0 if there is no point.
  std::optional<std::int64_t> thousandths() {
    if (!skip(".")) return 0;
    std::int64_t value = 0;
    std::size_t count = 0;
    for (; !rest_.empty() && isDigit(rest_.front()); ++count, rest_.remove_prefix(1)) {
      if (count < 3) value = value * 10 + (rest_.front() - '0');
    }
    if (count == 0) return std::nullopt;
    for (; count < 3; ++count) value *= 10;
    return value;
  }

 private:
  std::string_view rest_;
};

std::optional<std::int64_t> unixSeconds(std::string_view text) {
  constexpr std::size_t kMostDigits = 12;
  Scanner in(text);
  const auto seconds = in.digits(1, kMostDigits);
  if (!seconds) return std::nullopt;
  const auto thousandths = in.thousandths();
  if (!thousandths || !in.atEnd()) return std::nullopt;
  return *seconds * 1000 + *thousandths;
}

/// Minutes east of UTC.
std::optional<std::int64_t> offsetMinutes(Scanner& in) {
  if (in.skip("Zz")) return 0;
  // A space is a plus that was not percent-encoded in the address.
  const bool isEast = in.skip("+ ");
  if (!isEast && !in.skip("-")) return std::nullopt;
  const auto hours = in.digits(2, 2);
  if (!hours || !in.skip(":")) return std::nullopt;
  const auto minutes = in.digits(2, 2);
  if (!minutes || *hours > 23 || *minutes > 59) return std::nullopt;
  return (isEast ? 1 : -1) * (*hours * 60 + *minutes);
}

std::optional<std::int64_t> dayMs(Scanner& in) {
  const auto year = in.digits(4, 4);
  if (!year || !in.skip("-")) return std::nullopt;
  const auto month = in.digits(2, 2);
  if (!month || !in.skip("-")) return std::nullopt;
  const auto day = in.digits(2, 2);
  if (!day) return std::nullopt;
  const auto date = std::chrono::year(static_cast<int>(*year)) / static_cast<int>(*month) / static_cast<int>(*day);
  if (!date.ok()) return std::nullopt;
  return std::chrono::milliseconds(std::chrono::sys_days(date).time_since_epoch()).count();
}

std::optional<std::int64_t> timeOfDayMs(Scanner& in) {
  const auto hour = in.digits(2, 2);
  if (!hour || !in.skip(":")) return std::nullopt;
  const auto minute = in.digits(2, 2);
  if (!minute || !in.skip(":")) return std::nullopt;
  const auto second = in.digits(2, 2);
  // A leap second is the first one of the next minute.
  if (!second || *hour > 23 || *minute > 59 || *second > 60) return std::nullopt;
  const auto thousandths = in.thousandths();
  if (!thousandths) return std::nullopt;
  return ((*hour * 60 + *minute) * 60 + *second) * 1000 + *thousandths;
}

std::optional<std::int64_t> rfc3339(std::string_view text) {
  Scanner in(text);
  const auto day = dayMs(in);
  if (!day || !in.skip("Tt ")) return std::nullopt;
  const auto time = timeOfDayMs(in);
  if (!time) return std::nullopt;
  const auto offset = offsetMinutes(in);
  if (!offset || !in.atEnd()) return std::nullopt;
  return *day + *time - *offset * 60'000;
}

}  // namespace

std::optional<std::int64_t> parseMoment(std::string_view text) {
  auto moment = unixSeconds(text);
  if (!moment) moment = rfc3339(text);
  return moment && *moment >= 0 && *moment < kYear10000Ms ? moment : std::nullopt;
}

std::optional<std::int64_t> lengthInRequest(std::string_view text) try {
  constexpr std::size_t kMostDigits = 9;
  Scanner in(text);
  const auto seconds = in.digits(1, kMostDigits);
  const auto thousandths = in.thousandths();
  if (seconds && thousandths && in.atEnd()) return *seconds * 1000 + *thousandths;
  return parseDuration(text).count();
} catch (const UsageError&) {
  return std::nullopt;
}

std::optional<std::int64_t> requestedMoment(const HttpRequest& request, std::string_view name) {
  const std::string* text = request.parameter(name);
  if (text == nullptr) return std::nullopt;
  const auto moment = parseMoment(*text);
  if (!moment) {
    throw HttpError{.status = 400,
                    .text = fmt::format("{}: not a time as 2026-11-25T14:03:20Z or in Unix seconds", name)};
  }
  return moment;
}

RequestedTime requestedTime(const HttpRequest& request) {
  RequestedTime time{.startMs = requestedMoment(request, "start"), .endMs = requestedMoment(request, "end")};
  if (const std::string* text = request.parameter("duration")) {
    if (time.endMs) throw HttpError{.status = 400, .text = "end and duration: give one of them"};
    if (!time.startMs) throw HttpError{.status = 400, .text = "duration: needs a start"};
    const auto duration = lengthInRequest(*text);
    if (!duration) throw HttpError{.status = 400, .text = "duration: not a length of time as 15m, or in seconds"};
    time.endMs = *time.startMs + *duration;
  }
  if (time.startMs && time.endMs && *time.endMs <= *time.startMs) {
    throw HttpError{.status = 400, .text = "the end of the time is not after its start"};
  }
  return time;
}

}  // namespace host::serve
