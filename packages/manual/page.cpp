#include <algorithm>
#include <cctype>
#include <sstream>
#include <vector>

#include "packages/manual/pages.h"

namespace manual {
namespace {

using host::Command;
using host::Option;

/// Text that roff prints as it is. A dash is a minus sign, so that options can be copied from the page and searched
/// for; a dot or an apostrophe at the start of a line would be a request.
std::string escaped(const std::string& text) {
  std::string out;
  bool isLineStart = true;
  for (const char c : text) {
    if (isLineStart && (c == '.' || c == '\'')) out += "\\&";
    if (c == '\\') {
      out += "\\e";
    } else if (c == '-') {
      out += "\\-";
    } else {
      out += c;
    }
    isLineStart = c == '\n';
  }
  return out;
}

std::string upper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::toupper(c); });
  return text;
}

std::string dashed(std::string path) {
  std::replace(path.begin(), path.end(), ' ', '-');
  return path;
}

std::string section(const std::string& title) {
  return ".SH " + escaped(upper(title)) + "\n";
}

std::string bold(const std::string& text) {
  return "\\fB" + escaped(text) + "\\fR";
}

std::string italic(const std::string& text) {
  return "\\fI" + escaped(text) + "\\fR";
}

/// The name of an option and the word for its value.
std::string called(const Option& option) {
  if (option.isArgument()) return italic(option.name) + (option.repeatable ? "..." : "");
  return option.value.empty() ? bold(option.name) : bold(option.name) + " " + italic(option.value);
}

std::string synopsis(const Command& command, const std::string& path) {
  std::string line = bold(path);
  if (!command.commands.empty()) return line + " " + italic("COMMAND") + "\n";
  for (const Option& option : command.options) {
    if (option.required) line += " " + called(option);
  }
  return line + " [" + italic("options") + "]\n";
}

std::string entry(const std::string& name, const std::string& text) {
  return ".TP\n" + name + "\n" + escaped(text) + "\n";
}

std::string entries(const Command& command, bool ofArguments) {
  std::string text;
  for (const Option& option : command.options) {
    if (option.isArgument() == ofArguments) text += entry(called(option), option.text);
  }
  return text;
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

/// Turns the end of a help into sections. It is plain text: a line that ends in a colon before indented lines is the
/// heading of these, what is indented keeps its lines, and all other paragraphs are the description.
class FooterWriter {
 public:
  explicit FooterWriter(const std::string& footer) : lines_(linesOf(footer)) {}

  std::string write() {
    for (std::size_t i = 0; i < lines_.size(); ++i) writeLine(i);
    endTable();
    return (description_.empty() ? "" : section("Description") + description_) + sections_;
  }

 private:
  bool isIndented(std::size_t i) const { return i < lines_.size() && lines_[i].starts_with("  "); }
  bool beginsParagraph(std::size_t i) const { return i == 0 || lines_[i - 1].empty(); }

  void writeLine(std::size_t i) {
    const std::string& line = lines_[i];
    if (isIndented(i)) {
      if (!inTable_) *out_ += ".PP\n.nf\n";
      inTable_ = true;
      *out_ += escaped(line) + "\n";
      return;
    }
    if (line.empty() && inTable_ && isIndented(i + 1)) return;  // tables may have groups
    endTable();
    if (line.empty()) return;
    if (beginsParagraph(i) && line.ends_with(':') && isIndented(i + 1)) {
      out_ = &sections_;
      sections_ += section(line.substr(0, line.find_first_of(",:")));
      return;
    }
    if (beginsParagraph(i)) {
      out_ = &description_;
      description_ += ".PP\n";
    }
    *out_ += escaped(line) + "\n";
  }

  void endTable() {
    if (inTable_) *out_ += ".fi\n";
    inTable_ = false;
  }

  std::vector<std::string> lines_;
  std::string description_;
  std::string sections_;
  std::string* out_ = &description_;
  bool inTable_ = false;
};

std::string withoutFullStop(std::string text) {
  if (text.ends_with('.')) text.pop_back();
  return text;
}

std::string seeAlso(const Command& command, const std::string& path) {
  std::vector<std::string> pages;
  for (const Command& below : command.commands) pages.push_back(dashed(path + " " + below.name));
  if (const auto last = path.rfind(' '); last != std::string::npos) pages.push_back(dashed(path.substr(0, last)));
  std::string text = section("See also");
  for (const std::string& name : pages) text += bold(name) + "(1)" + (&name == &pages.back() ? "\n" : ",\n");
  return text;
}

}  // namespace

std::string page(const Command& command, const std::string& path, const std::string& version, const std::string& date) {
  std::string text = ".TH " + upper(escaped(dashed(path))) + " 1 \"" + date + "\" \"k2r " + version + "\"\n";
  text += section("Name") + escaped(dashed(path)) + " \\- " + escaped(withoutFullStop(command.text)) + "\n";
  text += section("Synopsis") + synopsis(command, path);
  const std::string arguments = entries(command, true);
  if (!arguments.empty()) text += section("Arguments") + arguments;
  if (!command.commands.empty()) text += section("Commands");
  for (const Command& below : command.commands) text += entry(bold(below.name), below.text);
  text += section("Options") + entries(command, false) +
          entry(bold("-h") + ", " + bold("--help"), "Print the help and exit.");
  return text + FooterWriter(command.footer).write() + seeAlso(command, path);
}

}  // namespace manual
