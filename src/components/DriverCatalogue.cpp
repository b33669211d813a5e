#include "components/DriverCatalogue.h"

#include <iterator>

namespace DriverManagement {

namespace Gen4 {

using LCommon::System::Handle;

namespace {

// What the drivers refuse to be opened with.
constexpr OpenRefusal IncompatibleOs = RefusedAs<BaseObject::IncompatibleOsException>(0xE0000001);
constexpr OpenRefusal UsageConflict = RefusedAs<BaseObject::UsageConflictException>(0xE0000003);
constexpr OpenRefusal SafeModeDetected = RefusedAs<BaseObject::SafeModeDetectedException>(0xE0000004);

constexpr OpenRefusal SynchronizationRefusals[] = {IncompatibleOs, SafeModeDetected};
constexpr OpenRefusal EnvironmentRefusals[] = {IncompatibleOs, UsageConflict, SafeModeDetected};

}  // namespace

LPtrRef<Handle> WinNT::kvlnk04::Manager::Open() {
  return OpenMainDevice(Facts, SynchronizationRefusals, std::size(SynchronizationRefusals),
                        {"class LPtrRef<class LCommon::System::Handle> __cdecl "
                         "DriverManagement::Gen4::WinNT::kvlnk04::Manager::Open(void)",
                         __LINE__});
}

LPtrRef<Handle> kvenv01sys::Manager::Open() {
  return OpenMainDevice(Facts, EnvironmentRefusals, std::size(EnvironmentRefusals),
                        {"class LPtrRef<class LCommon::System::Handle> __cdecl "
                         "DriverManagement::Gen4::kvenv01sys::Manager::Open(void)",
                         __LINE__});
}

LPtrRef<Handle> WinNT::kvenv01a::Manager::Open() {
  return OpenMainDevice(Facts, EnvironmentRefusals, std::size(EnvironmentRefusals),
                        {"class LPtrRef<class LCommon::System::Handle> __cdecl "
                         "DriverManagement::Gen4::WinNT::kvenv01a::Manager::Open(void)",
                         __LINE__});
}

}  // namespace Gen4

namespace ProjectSpecific {

void AddDriverManagers(BaseComplexObject& drivers) {
  using namespace Gen4;
  const DriverFacts* const catalogue[] = {&kvlnk03sys::Facts, &WinNT::kvlnk04::Facts,
                                          &kvvol02sys::Facts, &kvaux02sys::Facts,
                                          &kvenv01sys::Facts, &WinNT::kvenv01a::Facts};
  const LPtrRef<BasePeModuleContainer> noImage = LMakeRef<NullPeModuleContainer>();
  for (const DriverFacts* const facts : catalogue) {
    drivers.Add(LMakeRef<CatalogueManager>(
        *facts, noImage, LMakeRef<CatalogueLifeTime>(*facts, LUnicodeString(), LUnicodeString()),
        LMakeRef<CatalogueModule>(*facts, noImage), LMakeRef<CatalogueRegistration>(*facts),
        LMakeRef<CatalogueLogSource>(*facts)));
  }
}

}  // namespace ProjectSpecific

}  // namespace DriverManagement
