#include "drivermanagement/VersionFacts.h"

#include <doctest/doctest.h>

using namespace DriverManagement;
using LCommon::System::Manager;

TEST_CASE("flags, numbers and machines are read into the shared encodings") {
  const struct {
    unsigned int flags;
    BuildType type;
  } builds[] = {{0x00, buildRelease}, {0x01, buildDebug},   {0x08, buildPrivate}, {0x20, buildSpecial},
                {0x29, buildDebug},   {0x28, buildPrivate}, {0xD6, buildRelease}, {0x21, buildDebug}};
  for (const auto& build : builds) {
    CAPTURE(build.flags);
    CHECK(BuildTypeFromFlags(build.flags) == build.type);
  }
  CHECK(FileVersion(0x00010002, 0xFFFE0004) == 0x00010002'FFFE0004);
  CHECK(MajorMinorVersion(6, 1) == 0x00060001'00000000);
  CHECK(MajorMinorVersion(0x12345, 0x6789A) == 0x2345789A'00000000);

  const struct {
    unsigned int machine;
    Manager::MachineType type;
  } machines[] = {{0x14C, Manager::machineI386},
                  {0x8664, Manager::machineAmd64},
                  {0x200, Manager::machineIa64},
                  {0, Manager::machineNotSpecified},
                  {0xAA64, Manager::machineNotSpecified}};
  for (const auto& machine : machines) {
    CAPTURE(machine.machine);
    CHECK(MachineTypeFromPe(machine.machine) == machine.type);
  }
}
