#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>

#include "BoundedRun.h"
#include "Checks.h"
#include "FileStart.h"

namespace fs = std::filesystem;

namespace tool {

namespace {

constexpr char kNotInstalled[] =
    "where the hardware-access library is not installed already, it cannot be installed: an inventory is an "
    "empty document with exit status 0, an update ends with exit status 1";
constexpr char kEndless[] = "the script starts env and env the script, without end: the run hangs";
constexpr char kPutScript[] =
    "put the script of whoever provides the hardware-access library here; one that only "
    "says \"exit 0\" will do where there is no such library";
constexpr std::size_t kScriptLimit = 1U << 20U;
constexpr std::chrono::milliseconds kShellLimit{10000};

/// Where env(1) and the shell look for programs when nobody has told them.
constexpr std::array<const char*, 6> kProgramFolders{"/usr/local/sbin", "/usr/local/bin", "/usr/sbin",
                                                     "/usr/bin",        "/sbin",          "/bin"};

/// What the system makes of a script's first line.
struct FirstLine {
  std::string interpreter;  ///< empty: the line names none, and /bin/sh runs the script
  std::string argument;     ///< all that follows, as the one argument that it is given before the script
};

FirstLine firstLineOf(const std::string& content) {
  constexpr std::size_t kLongest = 256;  // the system reads no more
  constexpr char kBlanks[] = " \t";
  if (!content.starts_with("#!")) return {};
  std::string line = content.substr(2, std::min(content.find('\n'), kLongest) - 2);
  line.erase(0, line.find_first_not_of(kBlanks));
  line.erase(line.find_last_not_of(kBlanks) + 1);
  const std::size_t end = line.find_first_of(kBlanks);
  if (end == std::string::npos) return {line.size() < kLongest - 2 ? line : "", ""};
  return {line.substr(0, end), line.substr(line.find_first_not_of(kBlanks, end))};
}

std::vector<std::string> wordsOf(const std::string& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

/// What env(1) is given: the words of its argument where that begins with the option to split it, else the
/// argument as one word.
std::vector<std::string> wordsForEnv(const std::string& argument) {
  for (const std::string_view option : {"-S", "-vS", "--split-string="}) {
    if (argument.starts_with(option)) return wordsOf(argument.substr(option.size()));
  }
  return argument.empty() ? std::vector<std::string>() : std::vector{argument};
}

fs::path findProgram(const std::string& name) {
  if (name.find('/') != std::string::npos) return name;
  for (const char* const folder : kProgramFolders) {
    fs::path path = fs::path(folder) / name;
    std::error_code error;
    if (fs::is_regular_file(path, error) && access(path.c_str(), X_OK) == 0) return path;
  }
  return {};
}

/// Shells whose option -n parses a script and runs nothing of it.
bool isShell(const fs::path& program) {
  constexpr std::array<std::string_view, 6> kShells{"sh", "dash", "bash", "ksh", "mksh", "ash"};
  return std::find(kShells.begin(), kShells.end(), program.filename().string()) != kShells.end();
}

/// The system's own, and nothing that the package or a user has put somewhere.
bool isOfTheSystem(const fs::path& program) {
  std::error_code error;
  const fs::path folder = fs::canonical(program, error).parent_path();
  return !error && (folder == "/usr/bin" || folder == "/bin" || folder == "/usr/sbin" || folder == "/sbin");
}

/// Where a shell's complaint is about, and the complaint itself after ": ": "PATH: 3: Syntax error: ..." or
/// "PATH: line 3: syntax error ...". 0 and an empty text when it looks otherwise.
std::pair<long, std::string> placeIn(const std::string& output) {
  std::string line = output.substr(0, output.find('\n'));
  for (std::size_t place = 0; (place = line.find(": ", place)) != std::string::npos; place += 2) {
    std::size_t digits = place + 2;
    if (line.compare(digits, 5, "line ") == 0) digits += 5;
    const std::size_t end = line.find_first_not_of("0123456789", digits);
    if (end == std::string::npos || end == digits || end - digits > 9 || line.compare(end, 2, ": ") != 0)
      continue;
    return {std::stol(line.substr(digits, end - digits)), line.substr(end)};
  }
  return {0, {}};
}

class Inspection {
 public:
  explicit Inspection(const Package& package)
      : m_package(package), m_script(package.folder / "fwkitinstall.sh") {}

  Findings run() {
    std::error_code error;
    if (!fs::exists(m_script, error)) {
      report("script-missing", 0, "install script is missing", kNotInstalled, kPutScript);
    } else if (!fs::is_regular_file(m_script, error)) {
      report("script-not-file", 0, "install script is not a regular file", kNotInstalled, kPutScript);
    } else {
      checkMode();
      m_content = startOf(m_script, kScriptLimit);
      if (access(m_script.c_str(), R_OK) != 0) {
        report("script-unreadable", 0, std::string("install script cannot be read: ") + std::strerror(errno),
               "unknown: it was not checked", "check the package as a user who may read it");
      } else {
        checkContent();
      }
    }
    return std::move(m_findings);
  }

 private:
  void report(KindId kind, long line, std::string problem, std::string consequence, std::string remedy) {
    m_findings.push_back(
        {kind, m_script, line, std::move(problem), std::move(consequence), std::move(remedy)});
  }

  long lineAt(std::size_t place) const {
    return 1 + std::count(m_content.begin(), m_content.begin() + static_cast<std::ptrdiff_t>(place), '\n');
  }

  /// Root needs the bit as well.
  void checkMode() {
    struct stat status {};
    const bool known = stat(m_script.c_str(), &status) == 0;
    if (known && (status.st_mode & S_IXUSR) != 0 && access(m_script.c_str(), X_OK) == 0) return;
    report("script-mode", 0, "install script is not executable", kNotInstalled,
           modeRemedy("755", m_script, m_package.folder));
  }

  void checkContent() {
    if (m_content.empty()) {
      report("script-empty", 0, "install script is empty",
             "it ends with status 0 and installs nothing: the run goes on as if it had",
             R"(write "#!/bin/sh" and "exit 0" into it when nothing is to be installed)");
    } else if (m_content.starts_with("\177ELF")) {
      checkProgram();
    } else {
      checkText();
    }
  }

  void checkProgram() {
    const Process program = processOf(m_package.folder, m_script);
    const std::string problem = problemOf(program);
    if (problem.empty()) return;
    report("script-program", 0, "install script is a program that " + problem, kNotInstalled,
           "put a script, or a program for the servers' architecture, under this name");
  }

  /// Why the program is not started; empty when it may be.
  std::string problemOf(const Process& program) const {
    const ElfFile& file = program.executable;
    std::error_code error;
    if (file.architecture != thisMachine())
      return "is for " + file.architecture.name() + ", while this machine is " + thisMachine().name();
    if (!file.damage.empty()) return file.damage;
    if (!file.isProgram()) return "cannot be started: it is a library or an object file";
    if (!file.interpreter.empty() && !fs::exists(m_package.folder / file.interpreter, error))
      return "needs the loader " + file.interpreter + ", which is not here";
    if (!program.isFolders) return {};  // static: it needs no library
    const std::vector<std::string> missing = program.missing();
    return missing.empty() ? "" : "needs " + missing.front() + ", which the loader does not find";
  }

  void checkText() {
    if (m_content.starts_with("\xEF\xBB\xBF")) {
      report(
          "script-byte-order-mark", 1, "install script begins with a byte order mark",
          "its first line does not name an interpreter any more: /bin/sh runs it, and complains about that line",
          "save the script without a byte order mark");
    }
    if (const std::size_t place = m_content.find('\r'); place != std::string::npos) {
      const long line = lineAt(place);
      return report(
          "script-carriage-return", line,
          line == 1 && m_content.starts_with("#!")
              ? "the first line ends in a carriage return, which becomes part of the interpreter's name"
              : "install script has carriage returns, which become part of its commands",
          std::string("commands are not found, or fail; when the script fails, ") + kNotInstalled,
          "save the script with line feeds only");
    }
    if (const std::size_t place = m_content.find('\0'); place != std::string::npos) {
      return report(
          "script-nul", lineAt(place), "install script holds NUL bytes",
          std::string("it is no text: its shell refuses it, or drops what follows; when it fails, ") +
              kNotInstalled,
          "put the script itself here, whole and unchanged");
    }
    if (checkInterpreter()) parse();
  }

  /// False when the script cannot be run, or nothing can parse it.
  bool checkInterpreter() {
    const FirstLine line = firstLineOf(m_content);
    m_interpreter = line.interpreter.empty() ? "/bin/sh" : line.interpreter;
    if (!checkRunnable(m_interpreter)) return false;
    if (m_interpreter.filename() == "env") return checkEnv(line.argument);
    if (!isShell(m_interpreter) || line.argument.find_first_of(" \t") == std::string::npos) return true;
    report(
        "script-interpreter", 1,
        m_interpreter.string() + " is given \"" + line.argument + "\" as one option, which it does not know",
        kNotInstalled, "name one option there; \"set\" in the script sets others");
    return false;
  }

  bool checkEnv(const std::string& argument) {
    const std::vector<std::string> words = wordsForEnv(argument);
    const auto name = std::find_if(words.begin(), words.end(), [](const std::string& word) {
      return !word.starts_with('-') && word.find('=') == std::string::npos;
    });
    constexpr char kSplit[] = "use env -S, which takes several words, or name the interpreter itself";
    if (!words.empty() && words.front() == argument && argument.find_first_of(" \t") != std::string::npos) {
      report("script-interpreter", 1, "env is given \"" + argument + "\" as one word",
             argument.find('=') < argument.find_first_of(" \t") ? kEndless : kNotInstalled, kSplit);
    } else if (name == words.end()) {
      report("script-interpreter", 1, "env is given no program, and runs the script", kEndless, kSplit);
    } else if (m_interpreter = findProgram(*name); m_interpreter.empty()) {
      reportInterpreter(*name, "env does not find it in the system's folders of programs");
    } else {
      return checkRunnable(m_interpreter);
    }
    return false;
  }

  bool checkRunnable(const fs::path& interpreter) {
    const std::string reason = whyNotRun(interpreter);
    if (!reason.empty()) reportInterpreter(interpreter, reason);
    return reason.empty();
  }

  /// Why the system does not run it; empty when it may. An interpreter may be a script with an interpreter of
  /// its own.
  std::string whyNotRun(const fs::path& interpreter) const {
    constexpr int kMostLevels = 5;
    fs::path current = interpreter;
    std::string place;
    for (int level = 0; level < kMostLevels; ++level) {
      const fs::path path = m_package.folder / current;
      std::error_code error;
      if (fs::is_directory(path, error)) return place + "it is a folder";
      if (access(path.c_str(), X_OK) != 0) return place + std::strerror(errno);
      current = firstLineOf(startOf(path)).interpreter;
      if (current.empty()) return {};
      place = "its own interpreter is " + current.string() + ": ";
    }
    return std::strerror(ELOOP);
  }

  void reportInterpreter(const fs::path& interpreter, const std::string& reason) {
    report("script-interpreter", 1, "the interpreter " + interpreter.string() + " cannot be run: " + reason,
           kNotInstalled, "name one that the servers have; it was looked for on this machine");
  }

  void parse() {
    if (!isShell(m_interpreter) || !isOfTheSystem(m_interpreter)) return;
    std::error_code error;
    const fs::path script = fs::canonical(m_script, error);
    if (error) return;
    const BoundedRun shell = runBounded({m_interpreter, "-n", script}, {}, "/", kShellLimit);
    if (shell.end != BoundedRun::End::kExited || shell.status == 0) return;
    const auto [line, complaint] = placeIn(shell.output);
    report("script-syntax", line, m_interpreter.string() + " cannot parse the install script" + complaint,
           std::string("it fails where the shell gets to that place; then, ") + kNotInstalled,
           "correct the script; " + m_interpreter.string() + " -n shows the place as well");
  }

  const Package& m_package;
  fs::path m_script;
  std::string m_content;
  fs::path m_interpreter;
  Findings m_findings;
};

}  // namespace

Findings checkInstallScript(const Package& package) {
  return Inspection(package).run();
}

}  // namespace tool
