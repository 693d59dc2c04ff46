#include "CommandLine.h"

#include <CLI/CLI.hpp>
#include <utility>

#include "Command.h"
#include "TerminalText.h"

namespace tool {

namespace {

/// Hidden commands are of no group.
bool isShown(const CLI::App* command) {
  return !command->get_group().empty();
}

/// Describes what is wrong with the command line. Names an unknown subcommand and lists the known ones.
std::string explain(const CLI::App* app, const CLI::Error& error) {
  const std::vector<std::string> unexpected = app->remaining();
  const bool isUnknown =
      app->get_subcommands().empty() && !unexpected.empty() && !unexpected[0].starts_with('-');
  if (!isUnknown) return CLI::FailureMessage::simple(app, error);
  std::string message = '"' + forTerminal(unexpected[0]) + "\" is no subcommand; there are";
  const char* separator = " ";
  for (const CLI::App* command : app->get_subcommands(isShown))
    message += std::exchange(separator, ", ") + command->get_name();
  return message + ".\nRun with --help for more information.\n";
}

}  // namespace

CommandOption CommandOption::required() const {
  return CommandOption(m_option->required());
}

CommandOption CommandOption::typeName(const std::string& name) const {
  return CommandOption(m_option->type_name(name));
}

CommandOption CommandOption::excludes(const CommandOption& other) const {
  return CommandOption(m_option->excludes(other.m_option));
}

CommandOption CommandOption::oneValueEach() const {
  return CommandOption(m_option->allow_extra_args(false));
}

CommandOption CommandOption::delimiter(char separator) const {
  return CommandOption(m_option->delimiter(separator));
}

CommandOption CommandOption::check(const Complaint& complaint) const {
  return CommandOption(m_option->check(complaint));
}

CommandOption CommandOption::existingFolder() const {
  return CommandOption(m_option->check(CLI::ExistingDirectory));
}

CommandOption CommandOption::range(long least, long most) const {
  return CommandOption(m_option->check(CLI::Range(least, most)));
}

CommandOption CommandOption::range(std::size_t least, std::size_t most) const {
  return CommandOption(m_option->check(CLI::Range(least, most)));
}

CommandOption CommandOption::oneOf(const std::vector<std::string>& values) const {
  return CommandOption(m_option->check(CLI::IsMember(values)));
}

CommandOption CommandOption::oneOf(const std::map<std::string, int>& numbers) const {
  return CommandOption(m_option->transform(CLI::CheckedTransformer(numbers)));
}

CommandOption Command::addOption(const std::string& name, std::string& value, const std::string& help) const {
  return CommandOption(m_command->add_option(name, value, help));
}

CommandOption Command::addOption(const std::string& name, std::vector<std::string>& value,
                                 const std::string& help) const {
  return CommandOption(m_command->add_option(name, value, help));
}

CommandOption Command::addOption(const std::string& name, std::optional<std::size_t>& value,
                                 const std::string& help) const {
  return CommandOption(m_command->add_option(name, value, help));
}

CommandOption Command::addOption(const std::string& name, long& value, const std::string& help) const {
  return CommandOption(m_command->add_option(name, value, help));
}

CommandOption Command::addOption(const std::string& name, int& value, const std::string& help) const {
  return CommandOption(m_command->add_option(name, value, help));
}

CommandOption Command::addFlag(const std::string& name, bool& value, const std::string& help) const {
  return CommandOption(m_command->add_flag(name, value, help));
}

void Command::footer(const std::string& text) const {
  m_command->footer(text);
}

void Command::hide() const {
  m_command->group("");
}

CommandLine::CommandLine(const std::string& name, const std::string& help, const std::string& version)
    : m_app(std::make_unique<CLI::App>(help, name)) {
  m_app->set_version_flag("--version", version);
  m_app->require_subcommand(1);
  m_app->failure_message(explain);
}

CommandLine::~CommandLine() = default;

Command CommandLine::addCommand(const std::string& name, const std::string& help, Action action) {
  CLI::App* const command = m_app->add_subcommand(name, help);
  // CLI11 has no place for what the action returns, so it runs after the parsing.
  command->callback([this, action = std::move(action)] { m_chosen = action; });
  return Command(command);
}

int CommandLine::run(int argc, char** argv) {
  try {
    m_app->parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return m_app->exit(error) == 0 ? kClean : kUsage;
  }
  return m_chosen();
}

}  // namespace tool
