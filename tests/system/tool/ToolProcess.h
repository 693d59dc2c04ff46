// nvmepcissd-tool as a process, and its answers.

#pragma once

#include <nlohmann/json.hpp>
#include <string>

struct Answer {
  int status = -1;
  std::string output;
};

/// Runs the tool through a shell, with standard error left alone. `environment` are assignments before it.
Answer tool(const std::string& arguments, const std::string& environment = {});

/// The words before a command that give it a /run of its own, so that no run of others on this machine keeps
/// it waiting.
std::string withOwnLocks();

/// The answer's JSON, held against its schema and the process's exit status.
nlohmann::json verdictOf(const Answer& answer);

/// What is wrong with the JSON of `text` by the schema of that name in docs/schema; empty when nothing is.
std::string schemaComplaint(const std::string& text, const std::string& schema);
