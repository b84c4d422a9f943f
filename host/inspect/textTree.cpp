#include "host/inspect/textTree.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <vector>

namespace host {
namespace {

/// `firstFragment` becomes `first fragment`.
std::string inWords(const std::string& key) {
  std::string words;
  for (const char c : key) {
    const auto letter = static_cast<unsigned char>(c);
    if (std::isupper(letter) != 0) words += ' ';
    words += static_cast<char>(std::tolower(letter));
  }
  return words;
}

/// Null and the empty text look alike to people; the JSON document distinguishes them.
std::string plainText(const Json& value) {
  if (value.is_null() || value == "") return "-";
  if (value.is_string()) return value.get<std::string>();
  if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
  return value.dump();
}

/// The items in one line; an object among them as `time@offset`.
std::string listText(const Json& list) {
  std::string text;
  for (const Json& item : list) {
    std::string parts;
    for (const Json& part : item) parts += (parts.empty() ? "" : "@") + plainText(part);
    text += (text.empty() ? "" : " ") + parts;
  }
  return text.empty() ? "-" : text;
}

std::string cellText(const Json& value) {
  return value.is_array() ? listText(value) : plainText(value);
}

/// A list whose items are short enough for one line, so that it also fits into a table.
bool isShortList(const std::string& key, const Json& value) {
  if (!value.is_array()) return false;
  return key == "randomAccess" ||
         std::all_of(value.begin(), value.end(), [](const Json& item) { return item.is_primitive(); });
}

/// The first row gives the columns: all objects in a list of the document have the same keys.
bool isTable(const Json& value) {
  if (!value.is_array() || value.empty()) return false;
  return std::all_of(value.begin(), value.end(), [](const Json& row) {
    if (!row.is_object()) return false;
    const auto& items = row.items();
    return std::all_of(items.begin(), items.end(), [](const auto& cell) {
      return cell.value().is_primitive() || isShortList(cell.key(), cell.value());
    });
  });
}

/// Below this key names come from the stream: they are printed unchanged, and texts are quoted as they may contain
/// anything.
constexpr const char* kScriptValues = "values";

/// As JSON, in quotes, and without characters that could control a terminal. Bytes that are not UTF-8 are replaced.
std::string scriptText(const Json& value) {
  return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string scriptName(const std::string& name) {
  const auto isPlain = [](unsigned char c) { return std::isalnum(c) != 0 || c == '_' || c == '-' || c == '.'; };
  return !name.empty() && std::all_of(name.begin(), name.end(), isPlain) ? name : scriptText(name);
}

bool isInOneLine(const Json& value) {
  const auto isPrimitive = [](const Json& item) { return item.is_primitive(); };
  return value.empty() || value.is_primitive() ||
         (value.is_array() && std::all_of(value.begin(), value.end(), isPrimitive));
}

class Tree {
 public:
  void value(const Json& value, int depth) {
    if (value.is_object()) {
      for (const auto& [key, member] : value.items()) this->member(key, member, depth);
    } else {
      for (const Json& item : value) {
        this->value(item, depth);
        text_ += '\n';
      }
    }
  }

  std::string take() { return std::move(text_); }

 private:
  void member(const std::string& key, const Json& value, int depth) {
    if (key == kScriptValues) {
      line(depth, key + ":");
      for (const Json& item : value) scriptItem(item, depth + 1);
    } else if (value.is_primitive() || isShortList(key, value)) {
      line(depth, fmt::format("{}: {}", inWords(key), cellText(value)));
    } else if (isTable(value)) {
      line(depth, inWords(key) + ":");
      table(value, depth + 1);
    } else {
      line(depth, inWords(key) + ":");
      this->value(value, depth + 1);
    }
  }

  void scriptItem(const Json& value, int depth) {
    if (isInOneLine(value)) return line(depth, scriptText(value));
    if (value.is_array()) {
      for (const Json& item : value) scriptMember("-", item, depth);
    } else {
      for (const auto& [name, member] : value.items()) scriptMember(scriptName(name) + ":", member, depth);
    }
  }

  void scriptMember(const std::string& label, const Json& value, int depth) {
    if (isInOneLine(value)) return line(depth, label + " " + scriptText(value));
    line(depth, label);
    scriptItem(value, depth + 1);
  }

  void table(const Json& rows, int depth) {
    std::vector<std::vector<std::string>> cells(rows.size() + 1);
    for (const auto& [key, cell] : rows.front().items()) cells[0].push_back(inWords(key));
    for (std::size_t i = 0; i < rows.size(); ++i) {
      for (const Json& cell : rows[i]) cells[i + 1].push_back(cellText(cell));
    }
    // In bytes: keys and numbers are ASCII.
    std::vector<std::size_t> widths(cells[0].size());
    for (const auto& row : cells) {
      for (std::size_t column = 0; column < std::min(row.size(), widths.size()); ++column) {
        widths[column] = std::max(widths[column], row[column].size());
      }
    }
    for (const auto& row : cells) {
      std::string text;
      for (std::size_t column = 0; column < std::min(row.size(), widths.size()); ++column) {
        // No blanks at the end of a line.
        const bool last = column + 1 == row.size();
        text += last ? row[column] : fmt::format("{:<{}}  ", row[column], widths[column]);
      }
      line(depth, text);
    }
  }

  void line(int depth, const std::string& text) {
    text_ += std::string(static_cast<std::size_t>(depth) * 2, ' ') + text + '\n';
  }

  std::string text_;
};

}  // namespace

std::string textTree(const Json& document) {
  Tree tree;
  tree.value(document, 0);
  return tree.take();
}

}  // namespace host
