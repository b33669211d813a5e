#include "support/MachineSession.h"

#include <doctest/doctest.h>

std::unique_ptr<winsim::Machine> MakeMachine(winsim::Settings settings) {
  auto machine = std::make_unique<winsim::Machine>(std::move(settings));
  const std::u16string& windows = machine->settings.windowsDirectory;
  machine->files.MakeFolder(machine->SystemDirectory());
  machine->files.MakeFolder(windows + u"\\system32\\drivers");
  machine->files.MakeFolder(windows.substr(0, 2) + u"\\Program Files");
  if (machine->settings.wow64) {
    machine->files.MakeFolder(windows + u"\\SysWOW64\\drivers");
    machine->files.MakeFolder(windows.substr(0, 2) + u"\\Program Files (x86)");
  }
  for (const char16_t* const log : {u"Application", u"System"}) {
    machine->registry.Make(std::u16string(u"System\\CurrentControlSet\\Services\\Eventlog\\") + log);
  }
  return machine;
}

MachineSession::MachineSession(winsim::Settings settings)
    : m_machine(MakeMachine(std::move(settings))), m_process(m_machine->NewProcess(u"test.exe")) {
  m_scope.emplace(m_process);
  m_machine->gate.StartTrace();
}

MachineSession::~MachineSession() {
  if (!m_machine->gate.IsPowerOff()) {
    std::string leftOpen;
    for (const auto& texts : {m_process->handles.Describe(), m_process->modules.Describe()}) {
      for (const std::string& text : texts) {
        leftOpen += text + "\n";
      }
    }
    CHECK(leftOpen == "");
  }
  m_process->End(0);
  m_scope.reset();
}
