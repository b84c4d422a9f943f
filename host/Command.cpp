#include "host/Command.h"

#include <CLI/CLI.hpp>

namespace host {
namespace {

/// An argument's name says it all, without its type behind.
CommandOption made(CLI::Option& option) {
  if (option.get_positional()) option.type_name("");
  return CommandOption(option);
}

}  // namespace

CommandOption& CommandOption::required() {
  option_->required();
  return *this;
}

CommandOption& CommandOption::typeName(const std::string& name) {
  option_->type_name(name);
  return *this;
}

CommandOption& CommandOption::oneValueEach() {
  option_->allow_extra_args(false);
  return *this;
}

CommandOption& CommandOption::excludes(const CommandOption& other) {
  option_->excludes(other.option_);
  return *this;
}

CommandOption& CommandOption::needs(const CommandOption& other) {
  option_->needs(other.option_);
  return *this;
}

CommandOption& CommandOption::oneOf(const std::vector<std::string>& values) {
  option_->check(CLI::IsMember(values).description(""));
  return *this;
}

CommandOption& CommandOption::notNegative() {
  option_->check(CLI::Validator(
      [](std::string& text) { return text.starts_with('-') ? "has to be 0 or more" : std::string(); }, ""));
  return *this;
}

Command Command::subcommand(const std::string& name, const std::string& description) {
  return Command(*app_->add_subcommand(name, description));
}

void Command::needSubcommand() {
  app_->require_subcommand(1);
}

CommandOption Command::option(const std::string& name, std::string& target, const std::string& description) {
  return made(*app_->add_option(name, target, description));
}

CommandOption Command::option(const std::string& name, std::vector<std::string>& target,
                              const std::string& description) {
  return made(*app_->add_option(name, target, description));
}

CommandOption Command::option(const std::string& name, double& target, const std::string& description) {
  return made(*app_->add_option(name, target, description));
}

CommandOption Command::flag(const std::string& name, bool& target, const std::string& description) {
  return CommandOption(*app_->add_flag(name, target, description));
}

void Command::footer(const std::string& text) {
  app_->footer(text);
}

void Command::action(const std::function<void()>& action) {
  app_->callback(action);
}

Program::Program(const std::string& name, const std::string& version, const std::string& description,
                 const std::string& footer)
    : app_(std::make_unique<CLI::App>(description, name)) {
  app_->set_version_flag("--version", version, "Print the version and exit");
  app_->require_subcommand(0, 1);  // A misspelt command is then refused by its name.
  app_->footer(footer);
}

Program::~Program() = default;

std::optional<ExitStatus> Program::run(int argc, const char* const* argv) try {
  app_->parse(argc, argv);
  if (app_->get_subcommands().empty()) throw CallError("a command is needed; k2r --help lists them");
  return std::nullopt;
} catch (const CLI::ParseError& stop) {
  // A request for help ends here, too.
  if (stop.get_exit_code() != 0) throw CallError(stop.what());
  app_->exit(stop);
  return ExitStatus::kOk;
}

}  // namespace host
