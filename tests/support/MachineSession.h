#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "machine/Machine.h"

/// A machine with the folders and registry keys that every Windows has: the directories of the system, of its
/// drivers and of programs, and the event logs "Application" and "System".
std::unique_ptr<winsim::Machine> MakeMachine(winsim::Settings settings = winsim::Settings::Windows10());

/// A fresh simulated machine with the calling thread as the main thread of a process on it. The end of the
/// session fails the test when the process has left a handle open or a library loaded, unless the power is
/// off.
class MachineSession {
 public:
  explicit MachineSession(winsim::Settings settings = winsim::Settings::Windows10());
  ~MachineSession();
  MachineSession(const MachineSession&) = delete;
  MachineSession& operator=(const MachineSession&) = delete;

  winsim::Machine& Machine() { return *m_machine; }
  winsim::Process& Process() { return *m_process; }
  winsim::Thread& Thread() { return m_scope->Get(); }

  /// The calls since the session began or the trace was last started (`Machine().gate.StartTrace()`), of one
  /// function only when `function` is given.
  std::vector<std::string> Trace(std::string_view function = {}) const {
    return m_machine->gate.TraceLines(function);
  }

 private:
  std::unique_ptr<winsim::Machine> m_machine;
  std::shared_ptr<winsim::Process> m_process;
  std::optional<winsim::ThreadScope> m_scope;
};

/// The same for a 32-bit process on 64-bit Windows.
struct Wow64Session : MachineSession {
  Wow64Session() : MachineSession(winsim::Settings::Windows10Wow64()) {}
};
