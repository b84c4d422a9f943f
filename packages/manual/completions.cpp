#include <algorithm>
#include <functional>
#include <sstream>

#include "packages/manual/pages.h"

namespace manual {
namespace {

using host::Command;
using host::Option;

/// What the value of an option or argument can be.
enum class ValueKind { kWords, kDirectory, kFile, kOther };

ValueKind kindOf(const Option& option) {
  const std::string& name = option.isArgument() ? option.name : option.value;
  if (name.find('|') != std::string::npos) return ValueKind::kWords;
  if (name.starts_with("DIR") || name == "FOLDER") return ValueKind::kDirectory;
  if (name == "FILE" || name == "INPUT" || name == "PATH") return ValueKind::kFile;
  return ValueKind::kOther;
}

/// The words in "keep|drop", with spaces between them.
std::string wordsIn(std::string alternatives) {
  std::replace(alternatives.begin(), alternatives.end(), '|', ' ');
  return alternatives;
}

std::string firstSentence(const std::string& text) {
  const std::size_t end = text.find_first_of(".;");
  return text.substr(0, end);
}

/// Within single quotes of a shell.
std::string quoted(const std::string& text) {
  std::string out;
  for (const char c : text) out += c == '\'' ? "'\\''" : std::string(1, c);
  return out;
}

/// In an option specification of zsh's _arguments, brackets and colons have a meaning.
std::string zshText(const std::string& text) {
  std::string out;
  for (const char c : quoted(firstSentence(text)))
    out += (c == '[' || c == ']' || c == ':' ? "\\" : "") + std::string(1, c);
  return out;
}

/// Calls `visit(command, path)` for the program's commands, those of commands included; "keys new" is a path.
void forEachCommand(const Command& command, const std::string& path,
                    const std::function<void(const Command&, const std::string&)>& visit) {
  for (const Command& below : command.commands) {
    const std::string name = path.empty() ? below.name : path + " " + below.name;
    visit(below, name);
    forEachCommand(below, name, visit);
  }
}

/// All that can come next in a command: the commands below it, its options, --help.
std::string nextWords(const Command& command) {
  std::string words;
  for (const Command& below : command.commands) words += below.name + " ";
  for (const Option& option : command.options) {
    if (!option.isArgument()) words += option.name + " ";
  }
  return words + "--help";
}

std::string bashValues(const Option& option) {
  switch (kindOf(option)) {
    case ValueKind::kWords:
      return "-W '" + wordsIn(option.value) + "'";
    case ValueKind::kDirectory:
      return "-d";
    case ValueKind::kFile:
      return "-f";
    case ValueKind::kOther:
      break;
  }
  return "-W ''";
}

std::string bashCase(const Command& command, const std::string& path) {
  std::ostringstream out;
  out << "    '" << path << "')\n      case $previous in\n";
  for (const Option& option : command.options) {
    if (!option.isArgument() && !option.isFlag())
      out << "        " << option.name << ") values=(" << bashValues(option) << ") ;;\n";
  }
  out << "      esac\n      words='" << nextWords(command) << "'\n";
  for (const Option& option : command.options) {
    if (option.isArgument()) out << "      arguments=(" << bashValues(option) << ")\n";
  }
  out << "      ;;\n";
  return out.str();
}

std::string zshAction(const Option& option) {
  switch (kindOf(option)) {
    case ValueKind::kWords:
      return "(" + wordsIn(option.value) + ")";
    case ValueKind::kDirectory:
      return "_files -/";
    case ValueKind::kFile:
      return "_files";
    case ValueKind::kOther:
      break;
  }
  return " ";
}

std::string zshOption(const Option& option) {
  if (option.isArgument())
    return "'" + std::string(option.repeatable ? "*" : "") + ":" + option.name + ":" + zshAction(option) + "'";
  std::string text = "'" + std::string(option.repeatable ? "*" : "") + option.name + "[" + zshText(option.text) + "]";
  if (!option.isFlag()) text += ":" + zshText(option.value) + ":" + zshAction(option);
  return text + "'";
}

}  // namespace

std::string bashCompletion(const Command& program) {
  std::ostringstream out;
  out << "# Completion of k2r for bash.\n"
         "_k2r() {\n"
         "  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]}\n"
         "  local command=${COMP_WORDS[1]} words= values=() arguments=()\n"
         "  [ \"$COMP_CWORD\" -gt 1 ] || command=\n"
         "  case $command in\n";
  // Of commands with commands below them the second word belongs to the name.
  for (const Command& command : program.commands) {
    if (!command.commands.empty())
      out << "    " << command.name << ") [ \"$COMP_CWORD\" -gt 2 ] && command+=\" ${COMP_WORDS[2]}\" ;;\n";
  }
  out << "  esac\n  case $command in\n    '') words='" << nextWords(program) << "' ;;\n";
  forEachCommand(program, "",
                 [&out](const Command& command, const std::string& path) { out << bashCase(command, path); });
  out << "  esac\n"
         "  COMPREPLY=()\n"
         "  if [ ${#values[@]} -gt 0 ]; then\n"
         "    mapfile -t COMPREPLY < <(compgen \"${values[@]}\" -- \"$current\")\n"
         "  elif [[ $current != -* && ${#arguments[@]} -gt 0 ]]; then\n"
         "    mapfile -t COMPREPLY < <(compgen \"${arguments[@]}\" -- \"$current\")\n"
         "  else\n"
         "    mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$current\")\n"
         "  fi\n"
         "}\n"
         "complete -o filenames -F _k2r k2r\n";
  return out.str();
}

std::string zshCompletion(const Command& program) {
  std::ostringstream out;
  out << "#compdef k2r\n# Completion of k2r for zsh.\n"
         "local context state line\n"
         "local -a commands=(";
  for (const Command& command : program.commands) out << "\n  '" << command.name << ":" << zshText(command.text) << "'";
  out << ")\n"
         "if (( CURRENT == 2 )); then\n"
         "  _describe command commands\n"
         "  _arguments '--version[Print the versions]' '(- *)--help[Print the help]'\n"
         "  return\n"
         "fi\n"
         "local command=$words[2]\n";
  for (const Command& command : program.commands) {
    if (!command.commands.empty())
      out << "[[ $command = " << command.name << " ]] && (( CURRENT > 3 )) && command+=\" $words[3]\"\n";
  }
  out << "shift words; (( CURRENT-- ))\n"
         "[[ $command = *' '* ]] && { shift words; (( CURRENT-- )) }\n"
         "case $command in\n";
  forEachCommand(program, "", [&out](const Command& command, const std::string& path) {
    out << "  '" << path << "')\n    _arguments -s '(- *)--help[Print the help]'";
    for (const Option& option : command.options) out << " \\\n      " << zshOption(option);
    if (!command.commands.empty()) {
      out << " \\\n      ':command:(";
      for (const Command& below : command.commands)
        out << (&below == &command.commands.front() ? "" : " ") << below.name;
      out << ")'";
    }
    out << "\n    ;;\n";
  });
  out << "esac\n";
  return out.str();
}

std::string fishCompletion(const Command& program) {
  std::ostringstream out;
  out << "# Completion of k2r for fish.\ncomplete -c k2r -f\n"
         "complete -c k2r -l help -d 'Print the help'\n"
         "complete -c k2r -n __fish_use_subcommand -l version -d 'Print the versions'\n";
  for (const Command& command : program.commands) {
    out << "complete -c k2r -n __fish_use_subcommand -a " << command.name << " -d '"
        << quoted(firstSentence(command.text)) << "'\n";
  }
  forEachCommand(program, "", [&out](const Command& command, const std::string& path) {
    const std::string name = path.substr(path.rfind(' ') + 1);
    const std::string front = "complete -c k2r -n '__fish_seen_subcommand_from " + name + "' ";
    for (const Command& below : command.commands)
      out << front << "-a " << below.name << " -d '" << quoted(firstSentence(below.text)) << "'\n";
    for (const Option& option : command.options) {
      const ValueKind kind = kindOf(option);
      const bool isPath = kind == ValueKind::kDirectory || kind == ValueKind::kFile;
      if (option.isArgument()) {
        out << front << (kind == ValueKind::kDirectory ? "-a '(__fish_complete_directories)'" : "-F") << "\n";
        continue;
      }
      out << front << "-l " << option.name.substr(2) << " -d '" << quoted(firstSentence(option.text)) << "'";
      if (!option.isFlag()) out << (isPath ? " -r -F" : " -x");
      if (kind == ValueKind::kWords) out << " -a '" << wordsIn(option.value) << "'";
      out << "\n";
    }
  });
  return out.str();
}

}  // namespace manual
