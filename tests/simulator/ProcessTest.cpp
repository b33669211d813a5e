#include <doctest/doctest.h>

#include <stdexcept>

#include "machine/ProgramImage.h"
#include "support/MachineSession.h"

using winsim::BesideThisProgram;
using winsim::LoadProgramImage;

TEST_CASE("a program image has globals of its own in every process") {
  const auto machine = MakeMachine();
  machine->programs[u"image.exe"] = LoadProgramImage(BesideThisProgram("simulator_test_program.so"));
  machine->files.WriteFile(u"C:\\Windows\\system32\\image.exe", "MZ");
  CHECK(machine->Run(u"image") == 100);
  CHECK(machine->Run(u"\"C:\\Windows\\system32\\image.exe\"  abc") == 103);
  const auto waiting = machine->StartProgram(machine->programs[u"image.exe"], u"image.exe w");
  CHECK(machine->Run(u"image ab") == 102);
  CHECK(waiting->ExitCode() == 101u);

  machine->programs.clear();
  CHECK_THROWS_AS(machine->Run(u"image"), std::runtime_error);
  CHECK_THROWS_AS(machine->Run(u"nothing"), std::runtime_error);
  CHECK_THROWS_WITH(LoadProgramImage("/nowhere.so"), "/nowhere.so cannot be read.");
  CHECK_THROWS_AS(LoadProgramImage(BesideThisProgram("simulator_test_module.so")), std::runtime_error);
  CHECK_THROWS_AS(LoadProgramImage("/proc/self/maps"), std::runtime_error);
}
