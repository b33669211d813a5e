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
  const LPtrRef<BasePeModuleContainer> noImage = LMakeRef<NullPeModuleContainer>();
  constexpr unsigned int noSignatureCheck = 0;
  using namespace Gen4;
  drivers.Add(LMakeRef<kvlnk03sys::Manager>(noImage, LMakeRef<kvlnk03sys::LifeTime>(), noSignatureCheck));
  drivers.Add(
      LMakeRef<WinNT::kvlnk04::Manager>(noImage, LMakeRef<WinNT::kvlnk04::LifeTime>(), noSignatureCheck));
  drivers.Add(LMakeRef<kvvol02sys::Manager>(noImage, LMakeRef<kvvol02sys::LifeTime>()));
  drivers.Add(LMakeRef<kvaux02sys::Manager>(noImage, LMakeRef<kvaux02sys::LifeTime>()));
  drivers.Add(LMakeRef<kvenv01sys::Manager>(noImage, LMakeRef<kvenv01sys::LifeTime>()));
  drivers.Add(LMakeRef<WinNT::kvenv01a::Manager>(noImage, LMakeRef<WinNT::kvenv01a::LifeTime>()));
}

}  // namespace ProjectSpecific

}  // namespace DriverManagement
