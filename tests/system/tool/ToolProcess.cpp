#include "ToolProcess.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>

#include "TestSupport.h"

namespace {

Answer run(const std::string& command) {
  Answer answer;
  FILE* const pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return answer;
  std::array<char, 4096> buffer{};
  for (std::size_t count = 0; (count = fread(buffer.data(), 1, buffer.size(), pipe)) > 0;)
    answer.output.append(buffer.data(), count);
  const int status = pclose(pipe);
  answer.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return answer;
}

}  // namespace

Answer tool(const std::string& arguments, const std::string& environment) {
  return run(environment + " " + TOOL_EXECUTABLE + " " + arguments);
}

std::string withOwnLocks() {
  const std::string user = geteuid() == 0 ? "" : "--user --map-root-user ";
  return "unshare " + user + "--mount sh -c 'mount -t tmpfs none /run && exec \"$@\"' sh";
}

std::string schemaComplaint(const std::string& text, const std::string& schema) {
  const ScratchFolder folder;
  writeFile(folder / "instance.json", text);
  const Answer answer = run("/usr/bin/python3 -m jsonschema -i " + (folder / "instance.json").string() +
                            " " SCHEMA_FOLDER "/" + schema + " 2>&1");
  EXPECT_EQ(answer.status == 0, answer.output.empty()) << answer.output;
  return answer.output;
}

nlohmann::json verdictOf(const Answer& answer) {
  EXPECT_EQ(schemaComplaint(answer.output, "verdict.json"), "") << answer.output;
  nlohmann::json json = nlohmann::json::parse(answer.output, nullptr, false);
  EXPECT_EQ(json.value("exitStatus", -1), answer.status);
  return json;
}
