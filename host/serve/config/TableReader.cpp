#include "host/serve/config/TableReader.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/asciiText.h"
#include "host/nearestWord.h"
#include "host/serve/config/units.h"

namespace host::serve {
namespace {

ConfigPlace positionOf(const toml::source_position& position) {
  return {.line = position.line, .column = position.column};
}

std::string_view kindOf(const toml::node& node) {
  switch (node.type()) {
    case toml::node_type::table:
      return "a table";
    case toml::node_type::array:
      return "a list";
    case toml::node_type::string:
      return "a text";
    case toml::node_type::integer:
      return "a whole number";
    case toml::node_type::floating_point:
      return "a decimal number";
    case toml::node_type::boolean:
      return "a boolean";
    default:
      return "a date or time";
  }
}

}  // namespace

const toml::node* TableReader::node(const std::string& key) {
  known_.push_back(key);
  return table_.get(key);
}

std::optional<std::string> TableReader::textOrEmpty(const std::string& key) {
  const toml::node* const found = node(key);
  if (found == nullptr) return std::nullopt;
  const auto* const value = found->as_string();
  if (value == nullptr) {
    fault(key, fmt::format("expected a text in quotes, not {}", kindOf(*found)));
    return std::nullopt;
  }
  if (!isPlain(key, value->get())) return std::nullopt;
  return value->get();
}

std::optional<std::string> TableReader::text(const std::string& key) {
  auto value = textOrEmpty(key);
  if (!value || !value->empty()) return value;
  fault(key, "is empty");
  return std::nullopt;
}

std::optional<bool> TableReader::boolean(const std::string& key) {
  const toml::node* const found = node(key);
  if (found == nullptr) return std::nullopt;
  if (const auto* const value = found->as_boolean()) return value->get();
  fault(key, fmt::format("expected true or false, not {}", kindOf(*found)));
  return std::nullopt;
}

std::optional<std::int64_t> TableReader::number(const std::string& key, std::int64_t least, std::int64_t most) {
  const toml::node* const found = node(key);
  if (found == nullptr) return std::nullopt;
  const auto* const value = found->as_integer();
  if (value != nullptr && value->get() >= least && value->get() <= most) return value->get();
  fault(key, fmt::format("expected a whole number from {} to {}", least, most));
  return std::nullopt;
}

std::optional<std::chrono::milliseconds> TableReader::duration(const std::string& key) {
  const auto value = text(key);
  if (!value) return std::nullopt;
  try {
    return parseDuration(*value);
  } catch (const UsageError& error) {
    fault(key, error.what());
    return std::nullopt;
  }
}

std::optional<std::uint64_t> TableReader::byteCount(const std::string& key) {
  const auto value = text(key);
  if (!value) return std::nullopt;
  try {
    return parseByteCount(*value);
  } catch (const UsageError& error) {
    fault(key, error.what());
    return std::nullopt;
  }
}

std::optional<std::vector<std::string>> TableReader::texts(const std::string& key) {
  const toml::node* const found = node(key);
  if (found == nullptr) return std::nullopt;
  const toml::array* const list = found->as_array();
  std::vector<std::string> values;
  bool isGood = list != nullptr;
  for (std::size_t i = 0; isGood && i < list->size(); ++i) {
    const auto* const value = list->get(i)->as_string();
    isGood = value != nullptr && !value->get().empty();
    if (!isGood) break;
    if (!isPlain(key, value->get())) return std::nullopt;
    values.push_back(value->get());
  }
  if (isGood) return values;
  fault(key, R"(expected a list of texts, such as ["one", "two"], none of them empty)");
  return std::nullopt;
}

const toml::table* TableReader::table(const std::string& key) {
  const toml::node* const found = node(key);
  if (found == nullptr) return nullptr;
  if (const toml::table* const value = found->as_table()) return value;
  fault(key, fmt::format("expected a table, not {}", kindOf(*found)));
  return nullptr;
}

std::vector<const toml::table*> TableReader::tables(const std::string& key) {
  const toml::node* const found = node(key);
  std::vector<const toml::table*> values;
  if (found == nullptr) return values;
  const toml::array* const list = found->as_array();
  for (std::size_t i = 0; list != nullptr && i < list->size(); ++i) values.push_back(list->get(i)->as_table());
  if (list != nullptr && std::ranges::find(values, nullptr) == values.end()) return values;
  fault(key, fmt::format("expected a table with the heading [[{}]] for each", key));
  return {};
}

std::optional<std::string> TableReader::scalar(const std::string& key) {
  const toml::node* const found = node(key);
  if (found == nullptr) return std::nullopt;
  if (const auto* const number = found->as_integer()) return std::to_string(number->get());
  if (const auto* const decimal = found->as_floating_point()) return fmt::format("{}", decimal->get());
  if (const auto* const boolean = found->as_boolean()) return boolean->get() ? "true" : "false";
  if (const auto* const value = found->as_string()) {
    if (!isPlain(key, value->get())) return std::nullopt;
    return value->get();
  }
  fault(key, fmt::format("expected one value, not {}", kindOf(*found)));
  return std::nullopt;
}

bool TableReader::isPlain(const std::string& key, std::string_view text) {
  // A zero byte would end the text for libav and the system; other control characters are in no address and no name.
  if (std::ranges::none_of(text, isControl)) return true;
  fault(key, "contains a control character");
  return false;
}

void TableReader::fault(const std::string& key, std::string text) {
  findings_.add({.place = placeOf(key), .key = pathOf(key), .text = std::move(text)});
}

ConfigPlace TableReader::placeOf(const std::string& key) const {
  const toml::node* const found = table_.get(key);
  return positionOf((found != nullptr ? *found : table_).source().begin);
}

std::string TableReader::pathOf(std::string_view key) const {
  return path_.empty() ? std::string(key) : fmt::format("{}.{}", path_, key);
}

void TableReader::finish() {
  for (const auto& [key, value] : table_) {
    const std::string name(key.str());
    if (std::ranges::find(known_, name) != known_.end()) continue;
    const std::string near = nearestWord(name, known_);
    findings_.add({.place = positionOf(key.source().begin),
                   .key = pathOf(name),
                   .text = near.empty() ? "unknown key" : fmt::format("unknown key; did you mean {}?", near)});
  }
}

}  // namespace host::serve
