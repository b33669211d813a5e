#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "Explain.h"
#include "machine/MachineFolder.h"

namespace kvsim {

/// A driver that keeps the program on the machine, and why, a clause each.
struct Needed {
  std::string driver;
  std::vector<std::string> reasons;
};

/// What a command line did on the machine.
struct CommandRun {
  std::uint32_t exitCode = 0;
  std::string fault;  // what the program died of, if it did not come to its end
  std::vector<winsim::ShownMessageBox> messageBoxes;
  std::vector<winsim::TraceEntry> trace;
  std::vector<std::string> leftOpen;
  std::vector<Needed> needed;  // when the program answered that it cannot go yet
  std::string failure;         // the call that made it fail (-1)
};

/// A machine loaded from its folder, with the program that kvsim brings along on it.
class Session {
 public:
  /// Loads the machine, with its clock at `time`; shows progress on standard error when that is a terminal.
  /// Throws winsim::MachineFolderError, and IncompleteError when the program's module is not there.
  Session(const std::filesystem::path& folder, std::uint64_t time);

  /// What the user should know about how the machine was read, a line each.
  const std::vector<std::string>& Notes() const { return m_folder->Notes(); }

  /// Starts the machine at `time`, or at once when its clock is past that; restarts it when it runs.
  StartFacts Start(std::uint64_t time);
  /// Starts the machine without its services and runs a command line on it. Throws CommandError when the
  /// machine cannot start it.
  CommandRun Run(const std::u16string& commandLine);

  /// Refuses, before any work, a target that could not be saved to. Throws winsim::SaveError.
  void CheckTarget(const std::filesystem::path& target) const { m_folder->CheckTarget(target); }
  /// Throws winsim::SaveError. Ctrl-C and its like end kvsim when what was begun has been removed.
  void Save(const std::filesystem::path& target) const;

 private:
  winsim::Machine& Machine() const { return m_folder->GetMachine(); }
  std::vector<std::vector<Verdict>> Judge(const View& view) const;
  int RunProgram();
  std::uint32_t RunToEnd(const std::u16string& commandLine);

  std::unique_ptr<winsim::MachineFolder> m_folder;
  winsim::Program m_program;
  StartFacts* m_facts = nullptr;  // while a start goes on
  bool m_programRan = false;
  std::string m_fault;
};

}  // namespace kvsim
