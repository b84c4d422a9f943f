#include "host/Command.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <string_view>

#include "host/nearestWord.h"
#include "host/output.h"

namespace host {
namespace {

/// A single dash is an argument: standard input.
bool isOptionWord(const std::string& word) {
  return word.size() > 1 && word.front() == '-';
}

/// Help is given wherever it is asked for, also in a call that is otherwise wrong.
bool asksForHelp(const std::vector<std::string>& words) {
  const auto end = std::find(words.begin(), words.end(), "--");
  return std::any_of(words.begin(), end, [](const std::string& word) { return word == "--help" || word == "-h"; });
}

/// "; did you mean X?", or where to look if no name is near.
std::string suggestion(const std::string& word, const std::vector<std::string>& names, const std::string& path) {
  const std::string near = nearestWord(word, names);
  return near.empty() ? fmt::format("; {} --help lists what there is", path) : fmt::format("; did you mean {}?", near);
}

/// The name with the placeholder of the value, as in the help.
std::string shown(const Option& option) {
  return option.value.empty() ? option.name : option.name + " " + option.value;
}

/// Matches the words of one call with the options of its command. Takes the words of one command in their order, so
/// that the first wrong one is reported, and what is missing only if none is wrong (docs/decisions.md, "The command
/// line has its own parser").
class Parser {
 public:
  Parser(const Command& command, const std::string& path) : command_(command), path_(path) {}

  void parse(const std::vector<std::string>& words) {
    bool optionsEnded = false;
    for (auto word = words.begin(); word != words.end(); ++word) {
      if (!optionsEnded && *word == "--") {
        optionsEnded = true;
      } else if (optionsEnded || !isOptionWord(*word)) {
        takeArgument(*word);
      } else {
        takeOption(word, words.end());
      }
    }
    // Only after all words: a misspelt `--ouput DIR` is named, and not reported as a missing --out.
    checkRules();
  }

 private:
  using Word = std::vector<std::string>::const_iterator;

  [[noreturn]] void refuse(const std::string& reason) const { throw CallError(fmt::format("{}: {}", path_, reason)); }

  const Option* find(std::string_view name) const {
    const auto found = std::find_if(command_.options.begin(), command_.options.end(),
                                    [name](const Option& option) { return option.name == name; });
    return found == command_.options.end() ? nullptr : &*found;
  }

  void takeOption(Word& word, Word end) {
    const std::size_t equals = word->find('=');
    const std::string name = word->substr(0, equals);
    const Option* const option = find(name);
    if (option == nullptr || option->isArgument()) {
      refuse(fmt::format("unknown option {}{}", name, suggestion(name, optionNames(), path_)));
    }
    if (option->isFlag()) {
      if (equals != std::string::npos) refuse(fmt::format("{} takes no value", name));
      return give(*option, "");
    }
    if (equals != std::string::npos) return give(*option, word->substr(equals + 1));
    // The next option is no value: `--out --append` lacks a directory. `--out=--append` means it.
    if (std::next(word) == end || std::next(word)->starts_with("--")) {
      refuse(fmt::format("{} needs a value: {}", name, shown(*option)));
    }
    give(*option, *++word);
  }

  void takeArgument(const std::string& word) {
    for (const Option& option : command_.options) {
      if (option.isArgument() && (option.repeatable || !given_.contains(option.name))) return give(option, word);
    }
    if (command_.commands.empty()) refuse(fmt::format("'{}' is one argument too many", word));
    std::vector<std::string> names;
    for (const Command& command : command_.commands) names.push_back(command.name);
    refuse(fmt::format("unknown command '{}'{}", word, suggestion(word, names, path_)));
  }

  void give(const Option& option, const std::string& value) {
    const bool isFirst = given_.insert(option.name).second;
    if (!isFirst && !option.repeatable && !option.isFlag()) refuse(fmt::format("{} is given twice", option.name));
    // Often a variable of a script that is not set; no option means anything by it.
    if (value.empty() && !option.isFlag()) refuse(fmt::format("the value of {} is empty", option.name));
    try {
      option.take(value);
    } catch (const UsageError& error) {
      refuse(fmt::format("{}: {}", option.name, error.what()));
    }
  }

  void checkRules() const {
    for (const Option& option : command_.options) {
      const bool isGiven = given_.contains(option.name);
      if (!isGiven && option.required) refuse(fmt::format("{} is missing", shown(option)));
      if (!isGiven) continue;
      for (const std::string& other : option.excludes) {
        if (given_.contains(other)) refuse(fmt::format("{} and {} exclude each other", option.name, other));
      }
      for (const std::string& other : option.needs) {
        if (!given_.contains(other)) refuse(fmt::format("{} works with {} only", option.name, other));
      }
    }
  }

  std::vector<std::string> optionNames() const {
    std::vector<std::string> names{"--help"};
    for (const Option& option : command_.options) {
      if (!option.isArgument()) names.push_back(option.name);
    }
    return names;
  }

  const Command& command_;
  const std::string& path_;
  std::set<std::string> given_;
};

/// `path` is how the command is called, for messages; `words` are those after it.
ExitStatus runAt(const Command& command, const std::string& path, const std::vector<std::string>& words) {
  for (const Command& below : command.commands) {
    if (words.empty() || words.front() != below.name) continue;
    return runAt(below, path + " " + below.name, {words.begin() + 1, words.end()});
  }
  if (asksForHelp(words)) {
    printText(helpText(command, path));
    return ExitStatus::kOk;
  }
  Parser(command, path).parse(words);
  if (command.run) return command.run();
  throw CallError(fmt::format("{}: a command is needed; {} --help lists them", path, path));
}

}  // namespace

TakeValue storeIn(std::string& target) {
  return [&target](const std::string& value) { target = value; };
}

TakeValue addTo(std::vector<std::string>& target) {
  return [&target](const std::string& value) { target.push_back(value); };
}

TakeValue turnOn(bool& target) {
  return [&target](const std::string&) { target = true; };
}

TakeValue storeOneOf(std::vector<std::string> values, std::string& target) {
  return [values = std::move(values), &target](const std::string& value) {
    if (std::find(values.begin(), values.end(), value) == values.end()) {
      throw UsageError(fmt::format("'{}' is not one of {}", value, fmt::join(values, ", ")));
    }
    target = value;
  };
}

Option recordingArgument(std::string& directory) {
  return {.name = "DIR", .take = storeIn(directory), .text = "Directory of the recording.", .required = true};
}

ExitStatus runCommand(const Command& program, const std::vector<std::string>& words) {
  return runAt(program, program.name, words);
}

}  // namespace host
