// `update`: plans, asks, has the drives flashed by a process of its own, and waits for the verdict.

#include <unistd.h>

#include <chrono>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <system_error>

#include "Boot.h"
#include "Command.h"
#include "CommandLine.h"
#include "Component.h"
#include "Flash.h"
#include "FolderInspection.h"
#include "Follow.h"
#include "Joined.h"
#include "Preparation.h"
#include "RunLock.h"
#include "RunOptions.h"
#include "Session.h"
#include "TerminalText.h"
#include "VerdictText.h"

namespace tool {

namespace {

struct Options : PlanOptions {
  bool yes = false;
  bool dryRun = false;
  bool begin = false;
  long secondsPerDrive = 900;
};

/// What was asked for, for people who read the record.
std::map<std::string, std::string> textsOf(const PolicyOptions& policy) {
  std::map<std::string, std::string> texts{{"policy", policy.file},       {"to", policy.to},
                                           {"from", joined(policy.from)}, {"payload-sha256", policy.sha256},
                                           {"in-use", policy.inUse},      {"serial", joined(policy.serials)}};
  if (policy.expectDrives) texts["expect-drives"] = std::to_string(*policy.expectDrives);
  std::erase_if(texts, [](const auto& text) { return text.second.empty(); });
  return texts;
}

/// A finished run that has flashed is not repeated, unless it was cut off before it was over. One that goes
/// on, or whose outcome could not be found out yet, is never begun again.
bool isToBeAnswered(const Run& run, const RunAnswer& answer) {
  const bool mayBePlanned = run.record.phase == RunPhase::kDone || run.record.phase == RunPhase::kPlanning;
  if (answer.progress || !mayBePlanned) return true;
  return run.record.phase == RunPhase::kDone && run.record.hasFlashed &&
         (!run.record.wasInterrupted || answer.verdict.outcome == RunOutcome::kDone);
}

class Update {
 public:
  Update(const Options& options, Policy policy)
      : m_options(options), m_state(options.stateFolder()), m_policy(std::move(policy)) {}

  RunAnswer run() {
    do {
      m_lock.reset();
      if (const auto answered = join()) return *answered;
      if (auto acquired = RunLock::acquireSoon()) m_lock.emplace(std::move(*acquired));
    } while (hasMovedOn());
    if (!m_lock) return {refusal({"another run goes on on this server: " + nameOfOther()})};
    m_notes = m_state.list().problems;
    for (std::string& note : endDeadRuns(m_state, m_options.run)) m_notes.push_back(std::move(note));
    try {
      beginRun();
      if (const auto answered = plan()) return *answered;
      startFlash();
    } catch (const std::exception& error) {
      return refuse({error.what()});
    }
    // From here on a failure is no refusal: drives may be flashed.
    return wait(patience());
  }

 private:
  /// The answer of the run of that name, when there is nothing left to do for it.
  std::optional<RunAnswer> join() {
    m_run = m_options.run.empty() ? std::nullopt : m_state.find(m_options.run);
    if (!m_run) return std::nullopt;
    if (m_run->record.kind != RunKind::kUpdate)
      return RunAnswer{refusal({"the run " + m_run->record.name + " is an inventory"})};
    const std::string folder = std::filesystem::canonical(m_options.folder).string();
    if (m_run->record.component != folder && !m_run->record.component.empty())
      return RunAnswer{refusal({"the run " + m_run->record.name + " is for " + m_run->record.component})};
    RunAnswer found = wait(patience());
    if (isToBeAnswered(*m_run, found)) return found;
    return std::nullopt;
  }

  /// Another command has begun or ended the run of that name since `join`.
  bool hasMovedOn() const {
    if (m_options.run.empty()) return false;
    const std::optional<Run> now = m_state.find(m_options.run);
    return now && (!m_run || now->record != m_run->record);
  }

  std::string nameOfOther() const {
    std::string name = "its name is in another state folder";
    for (const Run& each : m_state.list().runs) {
      if (each.record.phase != RunPhase::kDone) name = each.record.name;
    }
    return name;
  }

  /// A dry run is a run of its own, which goes when it has ended, whatever name it was given.
  void beginRun() {
    if (m_run && !m_options.dryRun) {
      m_earlier = earlierFlashes(m_state.list(), m_run->record.name);
      m_run->load();
      ++m_run->record.attempts;
      m_run->setAside();
      m_run->record.phase = RunPhase::kPlanning;
      m_run->record.hasFlashed = m_run->record.wasInterrupted = false;
      m_run->record.exitStatus.reset();
      m_run->record.ended.clear();
    } else {
      m_earlier = earlierFlashes(m_state.list(), m_options.run);
      m_run.reset();  // a dry run leaves the run of that name as it is
      m_run = m_state.create(RunKind::kUpdate, m_options.dryRun ? "" : m_options.run);
    }
    RunRecord& record = m_run->record;
    record.component = std::filesystem::canonical(m_options.folder).string();
    record.environment = componentEnvironment(m_options.keepEnvironment);
    record.policy = textsOf(m_options.policy);
    record.bootId = bootId();
    m_run->save();
    m_isBegun = true;
  }

  /// The answer, unless the plan was approved.
  std::optional<RunAnswer> plan() {
    FolderInspection folder = inspectFolder(m_run->record.component);
    if (!folder.errors.empty()) return refuse(std::move(folder.errors));
    for (const std::string& warning : folder.warnings) m_notes.push_back("warning: " + warning);
    Verdict planned = prepare(*m_run, m_policy, m_earlier, folder.obeysList);
    planned.reasons.insert(planned.reasons.begin(), m_notes.begin(), m_notes.end());
    keepPlan(*m_run, planned);
    const std::size_t count = drivesToFlash(planned);
    if (m_options.dryRun || count == 0) return end(planned);
    show(planned);
    if (!m_options.yes && isatty(STDIN_FILENO) != 1)
      return refuse({"there is no terminal to ask, and --yes is not given"}, planned.drives);
    if (!m_options.yes && !isConfirmed(count)) return refuse({"it was not confirmed"}, planned.drives);
    return std::nullopt;
  }

  void startFlash() {
    m_run->record.phase = RunPhase::kApproved;
    m_run->record.approved = secondsSinceBoot();
    m_run->save();
    startInOwnSession("nvmepcissd-" + m_run->record.name,
                      {"carry-on", "--state", m_state.root().string(), m_run->record.name},
                      m_run->file("session.out"));
    isHeirThere(kHandover / 2);
    m_lock.reset();
  }

  std::chrono::seconds patience() const {
    constexpr std::chrono::seconds kAsLongAsItTakes = std::chrono::hours(24 * 365);
    return m_options.begin ? std::chrono::seconds{0} : kAsLongAsItTakes;
  }

  /// An outcome that cannot be found out, as on a full disk, is undecided; a later call may know it.
  RunAnswer wait(std::chrono::seconds atMost) {
    ProgressDisplay display(m_run->record.name, m_options.json);
    try {
      return follow(m_state, *m_run, {atMost, std::chrono::seconds(m_options.secondsPerDrive)}, display);
    } catch (const std::exception& error) {
      const std::string reason = error.what();
      m_run->load();
      return open(reason);
    }
  }

  /// The run goes on without this command, or can be concluded later; its record is not this command's any
  /// more.
  RunAnswer open(const std::string& problem) const {
    Verdict verdict = storedVerdict(*m_run);
    for (DriveVerdict& drive : verdict.drives) {
      if (drive.state != Outcome::kFlash) continue;
      drive.state = Outcome::kUndecided;
      drive.reason = "nobody can tell at this moment how its flash goes";
    }
    verdict.outcome = RunOutcome::kUndecided;
    verdict.reasons = {problem, "nvmepcissd-tool result " + m_run->record.name + " concludes the run"};
    return {std::move(verdict)};
  }

  void show(const Verdict& planned) const {
    if (m_options.json) return;
    writeVerdict(std::cout, planned, standardOutputTerminal());
    std::cout << std::flush;
  }

  static bool isConfirmed(std::size_t count) {
    std::cerr << "Flash " << count << (count == 1 ? " drive" : " drives") << "? [y/N] " << std::flush;
    std::string reply;
    std::getline(std::cin, reply);
    return reply == "y" || reply == "Y" || reply == "yes";
  }

  /// Nothing is flashed. The drives are as planned, less what would have been flashed.
  RunAnswer refuse(std::vector<std::string> reasons, std::vector<DriveVerdict> drives = {}) {
    reasons.insert(reasons.begin(), m_notes.begin(), m_notes.end());
    Verdict verdict = refusal(std::move(reasons));
    for (DriveVerdict& drive : drives) {
      if (drive.state == Outcome::kFlash) drive.state = Outcome::kUntouched;
    }
    verdict.drives = std::move(drives);
    return end(std::move(verdict));
  }

  /// Ends the run without a flash. A dry run leaves nothing.
  RunAnswer end(Verdict verdict) {
    if (!m_isBegun) return {std::move(verdict)};
    if (m_options.dryRun) {
      std::error_code ignored;
      std::filesystem::remove_all(m_run->folder, ignored);
      verdict.run.reset();
      return {std::move(verdict)};
    }
    try {
      verdict.run = m_run->record.name;
      finish(m_state, *m_run, verdict);
    } catch (const std::exception& error) {
      verdict.reasons.emplace_back(error.what());
    }
    return {std::move(verdict)};
  }

  const Options& m_options;
  StateFolder m_state;
  Policy m_policy;
  std::optional<Run> m_run;
  bool m_isBegun = false;  // the run on the disk is this attempt, and not an earlier one
  std::optional<RunLock> m_lock;
  std::vector<EarlierFlash> m_earlier;
  std::vector<std::string> m_notes;
};

int update(const Options& options) {
  std::optional<Policy> policy = readPolicy(options.policy);
  if (!policy) return kUsage;
  try {
    return answer(Update(options, *std::move(policy)).run(), options);
  } catch (const std::exception& error) {
    return answer({refusal({error.what()})}, options);
  }
}

}  // namespace

void addUpdateCommand(CommandLine& line) {
  const auto options = std::make_shared<Options>();
  const Command command =
      line.addCommand("update", "Update the drives of this server, and tell what became of each",
                      [options] { return update(*options); });
  command.footer(
      "Exit status: 0 every drive is updated, staged or current; 1 one failed, is missing or stale;\n"
      "2 usage; 3 anything else is open; 4 refused, or drives were left alone; 5 it goes on.");
  addPlanOptions(command, *options, "Name of the run; the same name again joins or resumes it");
  command.addFlag("--yes", options->yes, "Do not ask");
  command.addFlag("--dry-run", options->dryRun, "End after the plan");
  command.addFlag("--begin", options->begin, "Return once flashing has been started");
  addEnvironmentOption(command, options->keepEnvironment);
  command
      .addOption("--seconds-per-drive", options->secondsPerDrive,
                 "Wait so long for a drive, then leave the run to itself (900)")
      .typeName("SECONDS")
      .range(0L, 31536000L);
  addRunOptions(command, *options);
}

}  // namespace tool
