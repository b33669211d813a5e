#include "drivermanagement/Containers.h"

#include "foundation/Assert.h"

namespace DriverManagement {

namespace {

[[noreturn]] void ReportEmpty(const char* function, unsigned int line) {
  LReportAssertion(LLocation{function, line}, "Unreachable point");
}

}  // namespace

LBuffer NullPeModuleContainer::GetBody() {
  ReportEmpty("class LBuffer __cdecl DriverManagement::NullPeModuleContainer::GetBody(void)", __LINE__);
}

std::uint64_t NullPeModuleContainer::GetTime() {
  ReportEmpty("unsigned __int64 __cdecl DriverManagement::NullPeModuleContainer::GetTime(void)", __LINE__);
}

BuildType NullPeModuleContainer::GetBuildType() {
  ReportEmpty(
      "enum DriverManagement::BuildType __cdecl DriverManagement::NullPeModuleContainer::GetBuildType(void)",
      __LINE__);
}

std::uint64_t NullPeModuleContainer::GetVersion() {
  ReportEmpty("unsigned __int64 __cdecl DriverManagement::NullPeModuleContainer::GetVersion(void)", __LINE__);
}

LCommon::System::Manager::MachineType NullPeModuleContainer::GetTargetMachineType() {
  ReportEmpty(
      "enum LCommon::System::Manager::MachineType __cdecl "
      "DriverManagement::NullPeModuleContainer::GetTargetMachineType(void)",
      __LINE__);
}

std::uint64_t NullPeModuleContainer::GetTargetOsVersion() {
  ReportEmpty("unsigned __int64 __cdecl DriverManagement::NullPeModuleContainer::GetTargetOsVersion(void)",
              __LINE__);
}

}  // namespace DriverManagement
