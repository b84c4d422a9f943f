#include "host/inspect/timeBar.h"

#include <algorithm>
#include <cmath>

namespace host {
namespace {

constexpr char kRecorded = '=';
constexpr char kBegin = '|';
constexpr char kGap = '.';
constexpr char kPartOfGap = '!';

class Bar {
 public:
  Bar(std::uint64_t lengthMs, std::size_t columns)
      : perMs_(static_cast<double>(columns) / static_cast<double>(lengthMs)), text_(columns, kRecorded) {}

  void addGap(const TimedStretch& gap) {
    const double start = columnOf(gap.startMs);
    const double end = columnOf(gap.startMs + gap.durationMs);
    std::size_t column = cell(start);
    // At least one column, so that a gap of no length is seen, too.
    do {
      const auto left = static_cast<double>(column);
      const bool whole = left >= start && left + 1 <= end;
      text_[column] = whole ? kGap : kPartOfGap;
      ++column;
    } while (column < text_.size() && static_cast<double>(column) < end);
  }

  /// Gaps are marked before and keep their mark.
  void addBegin(const TimedStretch& fragment) {
    char& mark = text_[cell(columnOf(fragment.startMs))];
    if (mark == kRecorded) mark = kBegin;
  }

  std::string take() { return std::move(text_); }

 private:
  // In floating point: times of a damaged recording do not overflow.
  double columnOf(std::uint64_t timeMs) const { return static_cast<double>(timeMs) * perMs_; }
  std::size_t cell(double column) const {
    return static_cast<std::size_t>(std::clamp(std::floor(column), 0.0, static_cast<double>(text_.size() - 1)));
  }

  double perMs_;
  std::string text_;
};

}  // namespace

std::string timeBar(const RecordingOverview& overview, std::size_t columns) {
  // With fewer columns for each, the marks would cover the line.
  constexpr std::size_t kColumnsAFragment = 4;
  if (overview.lengthMs == 0 || columns == 0) return "";
  Bar bar(overview.lengthMs, columns);
  for (const TimedStretch& gap : overview.gaps) bar.addGap(gap);
  if (overview.fragments.size() <= columns / kColumnsAFragment) {
    for (const TimedStretch& fragment : overview.fragments) bar.addBegin(fragment);
  }
  return bar.take();
}

}  // namespace host
