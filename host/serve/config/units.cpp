#include "host/serve/config/units.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <optional>
#include <span>
#include <system_error>

#include "host/errors.h"

namespace host::serve {
namespace {

struct Unit {
  std::string_view name;
  std::uint64_t factor;
};

constexpr std::uint64_t kSecond = 1000;
constexpr std::uint64_t kDay = 24 * (3600 * kSecond);
constexpr std::uint64_t kLongest = 36525 * kDay;
constexpr Unit kTimeUnits[] = {{"ms", 1}, {"s", kSecond}, {"m", 60 * kSecond}, {"h", 3600 * kSecond}, {"d", kDay}};

constexpr std::uint64_t kThousand = 1000;
constexpr std::uint64_t kMost = ~std::uint64_t{0} >> 1;
// A letter alone is what --max-queue of `k2r record` takes, too.
constexpr Unit kSizeUnits[] = {{"", 1},
                               {"B", 1},
                               {"K", 1ULL << 10},
                               {"KiB", 1ULL << 10},
                               {"KB", kThousand},
                               {"M", 1ULL << 20},
                               {"MiB", 1ULL << 20},
                               {"MB", kThousand* kThousand},
                               {"G", 1ULL << 30},
                               {"GiB", 1ULL << 30},
                               {"GB", kThousand* kThousand* kThousand},
                               {"T", 1ULL << 40},
                               {"TiB", 1ULL << 40},
                               {"TB", kThousand* kThousand* kThousand* kThousand}};

/// Nothing if the text is not a whole number and one of the units, or more than `most`.
std::optional<std::uint64_t> valueOf(std::string_view text, std::span<const Unit> units, std::uint64_t most) {
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc()) return std::nullopt;
  const std::string_view name = text.substr(static_cast<std::size_t>(end - text.data()));
  const auto unit = std::ranges::find(units, name, &Unit::name);
  if (unit == units.end() || number > most / unit->factor) return std::nullopt;
  return number * unit->factor;
}

}  // namespace

std::chrono::milliseconds parseDuration(std::string_view text) {
  if (text == "0") return {};
  const auto value = valueOf(text, kTimeUnits, kLongest);
  if (!value) {
    throw UsageError(fmt::format(
        R"("{}" is no length of time; expected a whole number with ms, s, m, h or d, such as "15m", or "0")", text));
  }
  return std::chrono::milliseconds(*value);
}

std::uint64_t parseByteCount(std::string_view text) {
  const auto value = valueOf(text, kSizeUnits, kMost);
  if (!value) {
    throw UsageError(fmt::format(
        R"("{}" is no size; expected a whole number with B, KiB, MiB, GiB, TiB, KB, MB, GB or TB, such as "10GiB")",
        text));
  }
  return *value;
}

}  // namespace host::serve
