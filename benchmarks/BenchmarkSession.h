#pragma once

#include <optional>

#include "machine/Machine.h"
#include "support/ManagedMachine.h"
#include "system/Platform.h"

/// A fresh machine with the calling thread in a process on it and the system layer started.
class BenchmarkSession {
 public:
  BenchmarkSession() : m_process(m_machine.NewProcess(u"benchmark.exe")), m_scope(std::in_place, m_process) {
    InstallWindowsKeys(m_machine);
    LCommon::System::InitializeSystem(1);
  }
  ~BenchmarkSession() {
    LCommon::System::UninitializeSystem();
    m_process->End(0);
    m_scope.reset();
  }
  BenchmarkSession(const BenchmarkSession&) = delete;
  BenchmarkSession& operator=(const BenchmarkSession&) = delete;

  winsim::Machine& Machine() { return m_machine; }

 private:
  winsim::Machine m_machine;
  std::shared_ptr<winsim::Process> m_process;
  std::optional<winsim::ThreadScope> m_scope;
};
