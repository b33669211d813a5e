#include "drivermanagement/Module.h"

#include <optional>

#include "drivermanagement/PeTarget.h"
#include "foundation/Assert.h"
#include "foundation/String.h"
#include "system/Library.h"

namespace DriverManagement {

namespace {

using LCommon::System::AppendBackslash;
using LCommon::System::FindFunction;
using LCommon::System::Manager;

struct VersionResource {
  std::uint64_t version;
  BuildType buildType;
};

// The platform's version functions are used in their 8-bit form, the only one that every Windows has.
std::optional<VersionResource> ReadVersionResource(LUnicodeString path) {
  const auto library = LCommon::System::LoadSystemLibrary(L"version.dll");
  const auto getSize =
      FindFunction<decltype(&GetFileVersionInfoSizeA)>(library.get(), "GetFileVersionInfoSizeA");
  const auto getInfo = FindFunction<decltype(&GetFileVersionInfoA)>(library.get(), "GetFileVersionInfoA");
  const auto query = FindFunction<decltype(&VerQueryValueA)>(library.get(), "VerQueryValueA");
  if (!getSize || !getInfo || !query) return std::nullopt;

  LString narrowPath(path);
  DWORD unused = 0;
  const DWORD size = getSize(narrowPath.Data(), &unused);
  if (size == 0) return std::nullopt;
  LBuffer block;
  block.SetSize(size);
  {
    LBufferLock lock(block);
    if (!getInfo(narrowPath.Data(), 0, size, lock.Data())) return std::nullopt;
  }
  void* fixedPart = nullptr;
  UINT fixedPartSize = 0;
  if (!query(block.Data(), "\\", &fixedPart, &fixedPartSize)) return std::nullopt;
  if (fixedPartSize < sizeof(VS_FIXEDFILEINFO)) return std::nullopt;
  const VS_FIXEDFILEINFO& info = *static_cast<const VS_FIXEDFILEINFO*>(fixedPart);
  return VersionResource{FileVersion(info.dwFileVersionMS, info.dwFileVersionLS),
                         BuildTypeFromFlags(info.dwFileFlags)};
}

template <class Container>
LPtrRef<Container> ViewContainer(LPtrRef<BaseFileContainer> fileContainer, LLocation location) {
  const auto container = LDynamicCast<Container>(fileContainer);
  if (!container.Valid()) LReportAssertion(location, "container.Valid()");
  return container;
}

}  // namespace

BaseModule::BaseModule(LUnicodeString path, LPtrRef<BaseModuleContainer> container)
    : BaseFile(path, container) {}

unsigned int BaseModule::IsInstalledUpToDate() {
  if (!IsInstalled()) return 0;
  const auto installed = ReadVersionResource(m_path);
  if (!installed) return 0;
  const auto container = ViewContainer<BaseModuleContainer>(
      m_container,
      {"unsigned int __cdecl DriverManagement::BaseModule::IsInstalledUpToDate(void)", __LINE__});
  const BuildType expectedBuild = container->GetBuildType();
  const std::uint64_t expectedVersion = container->GetVersion();
  return MeetsBuildType(installed->buildType, expectedBuild) &&
         MeetsVersion(installed->version, expectedVersion);
}

BasePeModule::BasePeModule(LUnicodeString path, LPtrRef<BasePeModuleContainer> container)
    : BaseModule(path, container) {}

unsigned int BasePeModule::IsInstalledUpToDate() {
  if (!BaseModule::IsInstalledUpToDate()) return 0;
  const auto installed = ReadPeTarget(m_path);
  if (!installed) return 0;
  const auto container = ViewContainer<BasePeModuleContainer>(
      m_container,
      {"unsigned int __cdecl DriverManagement::BasePeModule::IsInstalledUpToDate(void)", __LINE__});
  const Manager::MachineType expectedMachine = container->GetTargetMachineType();
  if (expectedMachine != Manager::machineNotSpecified && installed->machine != expectedMachine) return 0;
  return MeetsTargetOs(installed->osVersion, container->GetTargetOsVersion());
}

BaseDriverModule::BaseDriverModule(LUnicodeString fileName, LPtrRef<BasePeModuleContainer> container)
    : BasePeModule(AppendBackslash(Manager::Instance().GetDriversDirectory()) + fileName, container) {}

BaseSystemModule::BaseSystemModule(LUnicodeString fileName, LPtrRef<BasePeModuleContainer> container)
    : BasePeModule(AppendBackslash(Manager::Instance().GetSystemDirectoryA()) + fileName, container) {}

}  // namespace DriverManagement
