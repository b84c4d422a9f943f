#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/errors.h"

namespace host {

/// What happens with a value from the command line; a flag gives "". Throws UsageError whose text says what is wrong
/// with the value; the parser adds the names of command and option.
using TakeValue = std::function<void(const std::string& value)>;

/// One option of a command, or one argument. This declaration is all there is: the parser and the help both read it.
struct Option {
  /// "--out", or of an argument the word that the help shows, such as "DIR".
  std::string name;
  /// The placeholder of the value in the help; empty for an argument, and for a flag, which takes no value.
  std::string value = {};
  /// The variables that it writes to outlive the parsing.
  TakeValue take;
  /// For the help, in one piece; the help breaks the lines.
  std::string text;
  bool required = false;
  /// May be given again; of an argument: takes all that follow. Anything else is refused the second time.
  bool repeatable = false;
  /// Names of options that it cannot be used with.
  std::vector<std::string> excludes = {};
  /// Names of options without which it cannot be used.
  std::vector<std::string> needs = {};

  bool isArgument() const { return !name.starts_with('-'); }
  bool isFlag() const { return !isArgument() && value.empty(); }
};

/// A command of the program, or the program itself.
///
///     Command greet() {
///       const auto name = std::make_shared<std::string>();
///       return {.name = "greet",
///               .text = "Greet somebody.",
///               .options = {{.name = "NAME", .take = storeIn(*name), .text = "Who.", .required = true}},
///               .run = [name] { return printText("hello " + *name + "\n"), ExitStatus::kOk; }};
///     }
struct Command {
  std::string name;
  /// One sentence for the help.
  std::string text;
  /// The order is that of the help, and of the arguments.
  std::vector<Option> options = {};
  /// Commands below this one; then it has no arguments.
  std::vector<Command> commands = {};
  /// The end of the help: examples, exit statuses. With its own line ends.
  std::string footer = {};
  /// Called once all values are taken. What it throws goes to the caller of runCommand().
  std::function<ExitStatus()> run = {};
};

/// Puts the value into `target`. Each of these refers to `target`, which outlives the parsing.
TakeValue storeIn(std::string& target);
/// Adds the value to `target`. For a repeatable option.
TakeValue addTo(std::vector<std::string>& target);
/// Sets the variable of a flag.
TakeValue turnOn(bool& target);
/// Puts the value into `target` if it is one of `values`.
TakeValue storeOneOf(std::vector<std::string> values, std::string& target);
/// Puts the result of `parse` for the text into `target`.
template <typename Target, typename Parse>
/// `parse` throws UsageError for a text of the wrong form.
TakeValue storeParsed(Target& target, Parse parse) {
  return [&target, parse](const std::string& text) { target = parse(text); };
}

/// The argument DIR of a command that reads a recording.
Option recordingArgument(std::string& directory);

/// Finds the command that `words` name, gives its options their values and runs it. `words` are the arguments of the
/// program without its name. A request for help is printed instead, with success. Throws CallError for words that are
/// no correct call, in the order of the words; what is missing comes after all that is wrong.
ExitStatus runCommand(const Command& program, const std::vector<std::string>& words);

/// The help of a command. `path` is how it is called: "k2r", "k2r record".
std::string helpText(const Command& command, const std::string& path);

/// Lines of at most 80 columns: `left`, then in a second column `text`, broken between words. For the help.
std::string helpEntry(const std::string& left, const std::string& text);

}  // namespace host
