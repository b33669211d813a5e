#include "Session.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>
#include <map>
#include <utility>

#include "Errors.h"
#include "Interruption.h"
#include "machine/ProgramImage.h"

namespace kvsim {
namespace {

/// Shows on a terminal how far the reading of a large registry is.
class Progress {
 public:
  ~Progress() {
    if (m_shown >= 0) {
      std::fputs("\r\x1b[K", stderr);
    }
  }
  void Show(std::size_t done, std::size_t total) {
    constexpr std::size_t worthShowing = 4 << 20;
    if (total < worthShowing || isatty(STDERR_FILENO) == 0) {
      return;
    }
    const int percent = static_cast<int>(done * 100 / total);
    if (percent != std::exchange(m_shown, percent)) {
      std::fputs(fmt::format("\rreading registry.reg: {} %", percent).c_str(), stderr);
    }
  }

 private:
  int m_shown = -1;
};

/// Numbers the processes of a trace from 1, in the order of their first calls.
std::vector<winsim::TraceEntry> Renumbered(std::vector<winsim::TraceEntry> trace) {
  std::map<unsigned int, unsigned int> numbers;
  for (winsim::TraceEntry& entry : trace) {
    entry.process =
        numbers.try_emplace(entry.process, static_cast<unsigned int>(numbers.size()) + 1).first->second;
  }
  return trace;
}

}  // namespace

Session::Session(const std::filesystem::path& folder, std::uint64_t time) {
  Progress progress;
  m_folder = winsim::MachineFolder::Load(
      folder, time, [&](std::size_t done, std::size_t total) { progress.Show(done, total); });
  try {
    m_program = winsim::LoadProgramImage(winsim::BesideThisProgram("kvdel01.so"));
  } catch (const std::runtime_error& error) {
    throw IncompleteError(error.what());
  }
  Machine().programs[winsim::FromUtf8(ProgramName)] = [this] { return RunProgram(); };
}

/// The program's turn on a thread of the machine.
int Session::RunProgram() {
  m_programRan = true;
  const bool watched = m_facts != nullptr && !m_facts->begun.has_value();
  if (watched) {
    m_facts->begun = Look(Machine());
  }
  int exitCode = -1;
  try {
    exitCode = m_program();
  } catch (const std::exception& exception) {
    m_fault = exception.what();
  } catch (...) {
    m_fault = "an exception that nothing caught";
  }
  if (watched) {
    m_facts->program.ran = true;
    m_facts->program.exitCode = static_cast<std::uint32_t>(exitCode);
    m_facts->program.duration = Machine().clock.Now() - m_facts->begun->time;
  }
  return exitCode;
}

/// By the files and the clock as they are now.
std::vector<std::vector<Verdict>> Session::Judge(const View& view) const {
  std::vector<std::vector<Verdict>> verdicts;
  for (const Component& component : view.components) {
    verdicts.push_back(component.record
                           ? kvsim::Judge(Machine(), component.record->claims, Machine().clock.Now())
                           : std::vector<Verdict>());
  }
  return verdicts;
}

void Session::Save(const std::filesystem::path& target) const {
  const Interruption interruption;
  try {
    m_folder->Save(target, [&] { interruption.Check(); });
  } catch (const Interrupted& signal) {
    std::fputs("kvsim: interrupted; nothing is saved\n", stderr);
    Interruption::End(signal);
  }
}

StartFacts Session::Start(std::uint64_t time) {
  winsim::Machine& machine = Machine();
  machine.TurnOff();
  if (time > machine.clock.Now()) {
    machine.clock.Set(time);
  }
  StartFacts facts;
  facts.before = Look(machine);
  for (const FileOperation& operation : facts.before.fileOperations) {
    facts.operations.push_back({operation, machine.files.Exists(winsim::FromUtf8(operation.from))});
  }
  machine.leakedHandles.clear();
  m_fault.clear();
  machine.gate.StartTrace();
  m_facts = &facts;
  m_folder->StartMachine(winsim::Machine::AutoStart::run);
  m_facts = nullptr;
  facts.program.trace = Renumbered(machine.gate.TakeTrace());
  facts.program.leftOpen = machine.leakedHandles;
  facts.program.fault = m_fault;
  facts.after = Look(machine);
  if (!facts.program.ran) {
    facts.program.whyNot = WhyNotRun(machine, facts.after);
  }
  for (const std::string& service : facts.before.markedServices) {
    const auto path = u"System\\CurrentControlSet\\Services\\" + winsim::FromUtf8(service);
    if (machine.registry.GetValue(path, u"Type") == nullptr) {
      facts.servicesGone.push_back(service);
    }
  }
  for (CarriedOut& carriedOut : facts.operations) {
    carriedOut.done = carriedOut.done && !machine.files.Exists(winsim::FromUtf8(carriedOut.operation.from));
  }
  facts.verdicts = Judge(facts.Begun());
  if (facts.program.ran) {
    facts.program.pass = JudgePass(facts);
  }
  return facts;
}

/// By its bare name the program runs on a machine that it is not installed on, too, as if from a removable
/// disk.
std::uint32_t Session::RunToEnd(const std::u16string& commandLine) {
  winsim::Machine& machine = Machine();
  const std::u16string name = winsim::FromUtf8(ProgramName);
  const std::u16string word = commandLine.substr(0, commandLine.find_first_of(u" \t"));
  const bool isBareName =
      winsim::EqualsIgnoringCase(word, name) || winsim::EqualsIgnoringCase(word + u".exe", name);
  if (!isBareName || machine.files.Exists(machine.SystemDirectory() + u"\\" + name)) {
    return machine.Run(commandLine);
  }
  const auto process = machine.StartProgram(machine.programs.at(name), commandLine);
  machine.AwaitIdle();
  return process->ExitCode().value();
}

CommandRun Session::Run(const std::u16string& commandLine) {
  winsim::Machine& machine = Machine();
  m_folder->StartMachine(winsim::Machine::AutoStart::skip);
  machine.gate.StartTrace();
  CommandRun run;
  try {
    run.exitCode = RunToEnd(commandLine);
  } catch (const std::runtime_error& error) {
    throw CommandError(error.what());
  }
  run.trace = Renumbered(machine.gate.TakeTrace());
  run.fault = m_fault;
  if (m_programRan && run.exitCode == UINT32_MAX) {
    run.failure = CauseOf(run.trace);
  }
  // The program answers "not yet" and shows no message box: it was asked whether it can go.
  if (m_programRan && run.exitCode == 1 && machine.messageBoxes.empty()) {
    const View view = Look(machine);
    const auto verdicts = Judge(view);
    for (std::size_t i = 0; i < view.components.size(); ++i) {
      if (const Component& driver = view.components[i]; driver.isDriver && !driver.IsExpired()) {
        run.needed.push_back({driver.name, WhyNeeded(driver, verdicts[i])});
      }
    }
  }
  run.messageBoxes = machine.messageBoxes;
  run.leftOpen = machine.leakedHandles;
  return run;
}

}  // namespace kvsim
