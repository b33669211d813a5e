#pragma once

#include "drivermanagement/Containers.h"
#include "drivermanagement/LogSource.h"
#include "drivermanagement/Module.h"
#include "drivermanagement/Service.h"
#include "drivermanagement/ServiceRegistration.h"

namespace DriverManagement::Gen4::WinNT::kvdel01 {

// The removal service as a managed component: this very program, once installed.

inline constexpr wchar_t FileName[] = L"kvdel01.exe";
inline constexpr wchar_t ServiceName[] = L"kvdel01";
inline constexpr wchar_t DisplayName[] = L"KV Quellin Drivers Auto Removal (v1)";
inline constexpr wchar_t Description[] =
    L"This service will automatically uninstall KV Quellin drivers when you don't need them anymore to "
    L"launch any applications used them. After uninstalling the drivers, the service will also uninstall "
    L"itself. If an application requires KV Quellin drivers, the drivers, as well as this service, will be "
    L"reinstalled. This service isn't constantly operating, and doesn't use memory. It is launched "
    L"automatically on operational system start and unloads itself from memory after completing all tasks "
    L"described above. To view information on KV Quellin drivers, or to uninstall drivers manually, visit "
    L"https://support.quellin.example/drivers.";

class Module : public BaseSystemModule {
 public:
  explicit Module(LPtrRef<BasePeModuleContainer> container);
};

class Registration : public BaseServiceRegistration {
 public:
  Registration();
};

/// In the log "Application".
class LogSource : public BaseLogSource {
 public:
  LogSource();
};

/// The component seen from outside. It has no claims of its own: it is needed while any managed driver is.
class Manager : public BaseService {
 public:
  explicit Manager(LPtrRef<BasePeModuleContainer> container);

  /// Is any component present?
  unsigned int IsActiveMeet() override;
  /// Are the components up to date? Whether the service runs plays no part.
  unsigned int IsInstalledUpToDate() override;
  /// Removes the component unless a driver is still needed.
  UninstallResult Uninstall(unsigned int flags) override;
  /// The same.
  PurgeResult Purge(unsigned int flags) override;
  /// Asks the installed program by running it with "can-remove-now" and waiting for its end: only exit code 0
  /// means expired. A missing program means expired too. Throws `LCommon::System::WindowsErrorException` when
  /// it cannot be started otherwise or does not tell its exit code.
  unsigned int IsExpired() override;
  /// Always 0, so that the service never asks itself to stop.
  unsigned int IsActive() override;
};

}  // namespace DriverManagement::Gen4::WinNT::kvdel01

namespace DriverManagement::ProjectSpecific {

/// The component as the running removal service sees itself: it asks the drivers itself.
class SelfManager : public Gen4::WinNT::kvdel01::Manager {
 public:
  using Manager::Manager;

  /// Have all managed drivers expired? The asking stops at the first that has not.
  unsigned int IsExpired() override;
};

}  // namespace DriverManagement::ProjectSpecific
