#pragma once

#include "components/CatalogueDriver.h"

// The six managed drivers. Each namespace holds one driver's family of classes: `Manager` (the driver as a
// whole), `Module` (its image file), `Registration` (its service entry), `LifeTime` (its lifetime record) and
// `LogSource` (its event-log source).

namespace DriverManagement::Gen4 {

namespace kvlnk03sys {

inline constexpr DriverFacts Facts = {
    .serviceName = L"kvlnk03",
    .displayName = L"Korvane Protection Synchronization Driver (version 3.x)",
    .loadOrderGroup = L"System Bus Extender",
    .stateControlCode = 0x92012400,
    .starts = false,
    .stops = false};
using Module = SynchronizationModuleOf<Facts>;
using Registration = RegistrationOf<Facts>;
using LifeTime = LifeTimeOf<Facts>;
using LogSource = LogSourceOf<Facts>;
using Manager = ManagerOf<Facts, Module>;

}  // namespace kvlnk03sys

namespace WinNT::kvlnk04 {

inline constexpr DriverFacts Facts = {
    .serviceName = L"kvlnk04",
    .displayName = L"Korvane Protection Synchronization Driver (version 4.x)",
    .loadOrderGroup = L"Boot Bus Extender",
    .stateControlCode = 0x92012400,
    .starts = false,
    .stops = false};
using Module = SynchronizationModuleOf<Facts>;
using Registration = RegistrationOf<Facts>;
using LifeTime = LifeTimeOf<Facts>;
using LogSource = LogSourceOf<Facts>;

class Manager : public ManagerOf<Facts, Module>, public BaseOpenable {
 public:
  using ManagerOf::ManagerOf;
  LPtrRef<LCommon::System::Handle> Open() override;
};

}  // namespace WinNT::kvlnk04

namespace kvvol02sys {

inline constexpr DriverFacts Facts = {.serviceName = L"kvvol02",
                                      .displayName = L"Korvane Protection VFS Driver (version 2.x)",
                                      .loadOrderGroup = L"",
                                      .stateControlCode = 0x89082400,
                                      .starts = true,
                                      .stops = false};
using Module = ModuleOf<Facts>;
using Registration = RegistrationOf<Facts>;
using LifeTime = LifeTimeOf<Facts>;
using LogSource = LogSourceOf<Facts>;
using Manager = ManagerOf<Facts, Module>;

}  // namespace kvvol02sys

namespace kvaux02sys {

inline constexpr DriverFacts Facts = {.serviceName = L"kvaux02",
                                      .displayName = L"Korvane Protection Helper Driver (version 2.x)",
                                      .loadOrderGroup = L"",
                                      .stateControlCode = 0x90012400,
                                      .starts = true,
                                      .stops = false};
using Module = ModuleOf<Facts>;
using Registration = RegistrationOf<Facts>;
using LifeTime = LifeTimeOf<Facts>;
using LogSource = LogSourceOf<Facts>;
using Manager = ManagerOf<Facts, Module>;

}  // namespace kvaux02sys

namespace kvenv01sys {

inline constexpr DriverFacts Facts = {.serviceName = L"kvenv01",
                                      .displayName = L"Korvane Protection Environment Driver (version 1.x)",
                                      .loadOrderGroup = L"",
                                      .stateControlCode = 0x91012400,
                                      .starts = true,
                                      .stops = true};
using Module = ModuleOf<Facts>;
using Registration = RegistrationOf<Facts>;
using LifeTime = LifeTimeOf<Facts>;
using LogSource = LogSourceOf<Facts>;

class Manager : public ManagerOf<Facts, Module>, public BaseOpenable {
 public:
  using ManagerOf::ManagerOf;
  LPtrRef<LCommon::System::Handle> Open() override;
};

}  // namespace kvenv01sys

namespace WinNT::kvenv01a {

inline constexpr DriverFacts Facts = {.serviceName = L"kvenv01a",
                                      .displayName = L"Korvane Protection Environment Driver (version 1.x.a)",
                                      .loadOrderGroup = L"",
                                      .stateControlCode = 0x91012400,
                                      .starts = true,
                                      .stops = true};
using Module = ModuleOf<Facts>;
using Registration = RegistrationOf<Facts>;
using LifeTime = LifeTimeOf<Facts>;
using LogSource = LogSourceOf<Facts>;

class Manager : public ManagerOf<Facts, Module>, public BaseOpenable {
 public:
  using ManagerOf::ManagerOf;
  LPtrRef<LCommon::System::Handle> Open() override;
};

}  // namespace WinNT::kvenv01a

}  // namespace DriverManagement::Gen4

namespace DriverManagement::ProjectSpecific {

/// Adds the six driver managers, in the catalogue's order, as removal needs them: without images to install
/// and without a claim of this program's own. They are of the classes that the families share, because
/// removal opens no main device and checks no signature: so a program that only removes carries no code for
/// that.
void AddDriverManagers(BaseComplexObject& drivers);

}  // namespace DriverManagement::ProjectSpecific
