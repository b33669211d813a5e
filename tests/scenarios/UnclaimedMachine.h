#pragma once

#include <memory>
#include <string>
#include <vector>

#include "app/EntryPoint.h"
#include "machine/ProgramImage.h"
#include "support/Lines.h"
#include "support/MachineSession.h"
#include "support/ManagedMachine.h"

/// A machine with the removal service and all six drivers, none of them claimed, which knows the program.
class UnclaimedMachine {
 public:
  explicit UnclaimedMachine(winsim::Settings settings = winsim::Settings::Windows10(),
                            winsim::Program program = ProgramModule())
      : m_machine(MakeMachine(std::move(settings))) {
    InstallWindowsKeys(*m_machine);
    m_bare = Snapshot(*m_machine);
    m_machine->programs[u"kvdel01.exe"] = std::move(program);
    InstallRemovalService(*m_machine);
    for (const std::u16string_view driver : ManagedDrivers) {
      InstallDriver(*m_machine, driver);
    }
  }

  winsim::Machine& operator*() { return *m_machine; }
  winsim::Machine* operator->() { return m_machine.get(); }

  void Restart() {
    m_machine->TurnOff();
    m_machine->Start();
  }
  /// What distinguishes the disk from the machine before anything of the family was installed.
  Lines SinceBare() { return Changes(m_bare, Snapshot(*m_machine)); }

 private:
  static winsim::Program ProgramModule() {
    return winsim::LoadProgramImage(winsim::BesideThisProgram("kvdel01.so"));
  }

  std::unique_ptr<winsim::Machine> m_machine;
  Lines m_bare;
};

/// With three of the drivers: two that cannot be stopped and one that can.
struct FewDrivers : UnclaimedMachine {
  // One process at a time, so the program's code in this very program will do, and is quicker to start.
  explicit FewDrivers(winsim::Program program = Main::RunProcess)
      : UnclaimedMachine(winsim::Settings::Windows10(), std::move(program)) {
    for (const auto driver : {u"kvvol02", u"kvaux02", u"kvenv01"}) {
      UninstallDriver(**this, driver);
    }
  }
};

/// The lines in which `name` occurs.
inline Lines About(const Lines& lines, std::string_view name) {
  Lines found;
  for (const std::string& line : lines) {
    if (line.find(name) != line.npos) found.push_back(line);
  }
  return found;
}
