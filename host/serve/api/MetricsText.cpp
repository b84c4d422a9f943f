#include "host/serve/api/MetricsText.h"

#include <fmt/format.h>

#include <iterator>

namespace host::serve {
namespace {

std::string escaped(std::string_view value) {
  std::string text;
  for (const char c : value) {
    if (c == '\n') {
      text += "\\n";
    } else {
      if (c == '\\' || c == '"') text += '\\';
      text += c;
    }
  }
  return text;
}

}  // namespace

void MetricsText::begin(std::string_view name, std::string_view type, std::string_view help) {
  name_ = name;
  fmt::format_to(std::back_inserter(text_), "# HELP {} {}\n# TYPE {} {}\n", name, help, name, type);
}

void MetricsText::line(std::string_view suffix, const Labels& labels, double value) {
  auto out = std::back_inserter(text_);
  fmt::format_to(out, "{}{}", name_, suffix);
  const char* separator = "{";
  for (const auto& [name, content] : labels) {
    fmt::format_to(out, "{}{}=\"{}\"", separator, name, escaped(content));
    separator = ",";
  }
  // Whole numbers without an exponent, as long as a double has them exactly.
  fmt::format_to(out, "{} {:.17g}\n", labels.empty() ? "" : "}", value);
}

void MetricsText::sample(const Labels& labels, double value) {
  line("", labels, value);
}

void MetricsText::histogram(std::string_view name, std::string_view help, const DurationHistogram::Snapshot& snapshot) {
  begin(name, "histogram", help);
  std::uint64_t count = 0;
  for (std::size_t i = 0; i < snapshot.counts.size(); ++i) {
    count += snapshot.counts[i];
    const bool isLast = i == DurationHistogram::kBounds.size();
    const std::string bound = isLast ? "+Inf" : fmt::format("{}", DurationHistogram::kBounds[i]);
    line("_bucket", {{"le", bound}}, static_cast<double>(count));
  }
  line("_sum", {}, snapshot.sumSeconds);
  line("_count", {}, static_cast<double>(count));
}

}  // namespace host::serve
