#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/serve/DurationHistogram.h"

namespace host::serve {

/// Writes metrics in Prometheus' text format, version 0.0.4.
class MetricsText {
 public:
  using Labels = std::vector<std::pair<std::string_view, std::string_view>>;

  static constexpr const char* kType = "text/plain; version=0.0.4; charset=utf-8";

  /// Begins a metric; its samples follow. `type` is "counter", "gauge" or "histogram"; `help` is one line without
  /// backslashes.
  void begin(std::string_view name, std::string_view type, std::string_view help);
  /// A sample of the metric that was begun last.
  void sample(const Labels& labels, double value);
  /// A whole metric.
  void histogram(std::string_view name, std::string_view help, const DurationHistogram::Snapshot& snapshot);

  const std::string& text() const { return text_; }

 private:
  void line(std::string_view suffix, const Labels& labels, double value);

  std::string name_;
  std::string text_;
};

}  // namespace host::serve
