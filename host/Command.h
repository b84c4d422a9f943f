#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/errors.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace host {

// The command line's parser, in as much as commands need. It is a library of templates that take long to compile; only
// Command.cpp sees them.

/// An option of a command. A view: the parser owns it.
class CommandOption {
 public:
  explicit CommandOption(CLI::Option& option) : option_(&option) {}

  CommandOption& required();
  /// What stands for its value in the help; "" for nothing.
  CommandOption& typeName(const std::string& name);
  /// Of an option that may be given again: it takes one value each time.
  CommandOption& oneValueEach();
  CommandOption& excludes(const CommandOption& other);
  CommandOption& needs(const CommandOption& other);
  CommandOption& oneOf(const std::vector<std::string>& values);
  CommandOption& notNegative();

 private:
  CLI::Option* option_;
};

/// A command, or the program, with its options, each bound to a variable that outlives the parsing. A view: the parser
/// owns it. A name without dashes is that of an argument. Descriptions have their own line ends.
class Command {
 public:
  explicit Command(CLI::App& app) : app_(&app) {}

  Command subcommand(const std::string& name, const std::string& description);
  /// One of them has to be given.
  void needSubcommand();
  CommandOption option(const std::string& name, std::string& target, const std::string& description);
  CommandOption option(const std::string& name, std::vector<std::string>& target, const std::string& description);
  CommandOption option(const std::string& name, double& target, const std::string& description);
  CommandOption flag(const std::string& name, bool& target, const std::string& description);
  /// Behind the help.
  void footer(const std::string& text);
  /// What the command does once all is parsed.
  void action(const std::function<void()>& action);

 private:
  CLI::App* app_;
};

/// The program, with the commands that are added to its root.
class Program {
 public:
  Program(const std::string& name, const std::string& version, const std::string& description,
          const std::string& footer);
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  Command root() { return Command(*app_); }
  /// Runs the action of the command that the arguments name, and returns nothing; or prints the help that they ask for,
  /// and returns success. Throws CallError for arguments that are no call of a command, and what the action throws.
  std::optional<ExitStatus> run(int argc, const char* const* argv);

 private:
  std::unique_ptr<CLI::App> app_;
};

}  // namespace host
