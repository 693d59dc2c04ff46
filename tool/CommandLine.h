// The command line of nvmepcissd-tool: subcommands, their arguments, options and flags. CLI11 parses it, and
// CommandLine.cpp alone includes CLI11, which takes the compiler far longer than any command of ours.

#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace tool {

/// What a subcommand does after the command line has been parsed; returns the exit status.
using Action = std::function<int()>;

/// Describes what is wrong with a value, to follow the option's name in a message; empty when nothing is.
using Complaint = std::function<std::string(const std::string& value)>;

/// An argument, option or flag of a command, to be described further. A handle to what the command line owns:
/// copies stand for the same option, and are valid as long as the command line is. Each function returns the
/// handle, so that calls can be chained. A value that a check refuses is wrong usage.
class CommandOption {
 public:
  explicit CommandOption(CLI::Option* option) : m_option(option) {}

  /// A command line without it is wrong usage.
  CommandOption required() const;

  /// What the help calls its value.
  CommandOption typeName(const std::string& name) const;

  /// Both on one command line are wrong usage.
  CommandOption excludes(const CommandOption& other) const;

  /// An option with a list takes one value each time that it is given, instead of all that follow it.
  CommandOption oneValueEach() const;

  /// A value is a list, whose members this character separates.
  CommandOption delimiter(char separator) const;

  CommandOption check(const Complaint& complaint) const;
  CommandOption existingFolder() const;

  /// A number of `least` to `most`, both included.
  CommandOption range(long least, long most) const;
  CommandOption range(std::size_t least, std::size_t most) const;

  CommandOption oneOf(const std::vector<std::string>& values) const;

  /// One of the names, or one of their numbers: the option's value becomes the number.
  CommandOption oneOf(const std::map<std::string, int>& numbers) const;

 private:
  CLI::Option* m_option;
};

/// A subcommand, to be filled: a handle like CommandOption. The names of options are as in the help
/// ("-o,--output"); a name without dashes is that of a positional argument. A `value` keeps what it holds
/// when the option is not given, and must live until the command line has run.
class Command {
 public:
  explicit Command(CLI::App* command) : m_command(command) {}

  CommandOption addOption(const std::string& name, std::string& value, const std::string& help = "") const;
  CommandOption addOption(const std::string& name, std::vector<std::string>& value,
                          const std::string& help) const;
  CommandOption addOption(const std::string& name, std::optional<std::size_t>& value,
                          const std::string& help) const;
  CommandOption addOption(const std::string& name, long& value, const std::string& help) const;
  CommandOption addOption(const std::string& name, int& value, const std::string& help) const;
  CommandOption addFlag(const std::string& name, bool& value, const std::string& help) const;

  /// What the help ends with.
  void footer(const std::string& text) const;

  /// Leaves the command out of the help and of the list of commands.
  void hide() const;

 private:
  CLI::App* m_command;
};

/// A program that does nothing but through its subcommands.
class CommandLine {
 public:
  /// `version` is what --version prints.
  CommandLine(const std::string& name, const std::string& help, const std::string& version);
  ~CommandLine();
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;

  /// `action` runs when the user chooses the command, and keeps alive what it captures.
  Command addCommand(const std::string& name, const std::string& help, Action action);

  /// Parses the arguments and runs the chosen command. Returns its exit status; kUsage and a message on
  /// standard error for wrong usage; kClean after --help and --version. Passes on what the action throws.
  int run(int argc, char** argv);

 private:
  std::unique_ptr<CLI::App> m_app;
  Action m_chosen;
};

}  // namespace tool
