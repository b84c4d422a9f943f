// The help of a command, made of the same declarations as the parser's rules.

#include <algorithm>

#include "host/Command.h"

namespace host {
namespace {

constexpr std::size_t kTextColumn = 26;
constexpr std::size_t kWidth = 80;

/// Takes the words off `text` that fit into `width` columns; one word at least.
std::string takeLine(std::string& text, std::size_t width) {
  std::size_t end = text.size();
  if (end > width) {
    end = text.rfind(' ', width);
    if (end == std::string::npos) end = std::min(text.find(' '), text.size());
  }
  const std::string line = text.substr(0, end);
  text.erase(0, std::min(end + 1, text.size()));
  return line;
}

/// Shows what cannot be left out; the list of options has the rest.
std::string usageLine(const Command& command, const std::string& path) {
  std::string line = "Usage: " + path;
  if (!command.commands.empty()) return line + " COMMAND";
  for (const Option& option : command.options) {
    if (!option.required) continue;
    line += " " + option.name;
    if (!option.value.empty()) line += " " + option.value;
    if (option.repeatable) line += "...";
  }
  return line + " [options]";
}

std::string entries(const Command& command, bool ofArguments) {
  std::string text;
  for (const Option& option : command.options) {
    if (option.isArgument() != ofArguments) continue;
    text += helpEntry(option.value.empty() ? option.name : option.name + " " + option.value, option.text);
  }
  return text;
}

}  // namespace

std::string helpEntry(const std::string& left, const std::string& text) {
  std::string entry = "  " + left;
  std::string rest = text;
  if (entry.size() + 2 > kTextColumn) {
    entry += "\n";
    entry.append(kTextColumn, ' ');
  } else {
    entry.resize(kTextColumn, ' ');
  }
  entry += takeLine(rest, kWidth - kTextColumn) + "\n";
  while (!rest.empty()) entry += std::string(kTextColumn, ' ') + takeLine(rest, kWidth - kTextColumn) + "\n";
  return entry;
}

std::string helpText(const Command& command, const std::string& path) {
  std::string text = command.text + "\n\n" + usageLine(command, path) + "\n";
  const std::string arguments = entries(command, true);
  if (!arguments.empty()) text += "\nArguments:\n" + arguments;
  if (!command.commands.empty()) text += "\nCommands:\n";
  for (const Command& below : command.commands) text += helpEntry(below.name, below.text);
  text += "\nOptions:\n" + entries(command, false) + helpEntry("-h, --help", "Print this help and exit.");
  if (!command.footer.empty()) text += "\n" + command.footer + "\n";
  return text;
}

}  // namespace host
