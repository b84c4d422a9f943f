#include "server/common/contextmessage.h"

#include "server/NQCommand.h"
#include "shared_nqserver/NQDataArray.h"

namespace qvs {
namespace {

std::uint32_t toMilliseconds(double seconds) {
  constexpr double kBound = static_cast<double>(std::int64_t{1} << 62);
  const double milliseconds = seconds * 1000.0;
  // Negated, so that not-a-number gives 0 as well. Within the bound the casts are defined: a negative time wraps.
  if (!(milliseconds > -kBound && milliseconds < kBound)) return 0;
  return static_cast<std::uint32_t>(static_cast<std::int64_t>(milliseconds));
}

}  // namespace

std::optional<std::uint32_t> readTimeOffset(const SingleMessagePtr& message) {
  const NQCommand command(message, false);
  if (command.nameText() != "onTimeCoordInfo") return std::nullopt;
  const NQDataArray* const members = command.argument(0).array();
  if (members == nullptr) return std::nullopt;
  // The last member of the name counts, compared with case: both unlike NQDataArray::find().
  std::optional<std::uint32_t> offset;
  for (std::size_t i = 0; i < members->size(); ++i)
    if (members->name(i) == "stream-absolute") offset = toMilliseconds(members->value(i).toDouble());
  return offset;
}

}  // namespace qvs
