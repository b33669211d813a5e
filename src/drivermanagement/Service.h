#pragma once

#include "drivermanagement/BaseObject.h"
#include "drivermanagement/ComplexObject.h"
#include "drivermanagement/Module.h"
#include "drivermanagement/ServiceRegistration.h"
#include "foundation/PtrRef.h"
#include "foundation/UnicodeString.h"

namespace DriverManagement {

/// A Win32 service: components that are installed and removed, and an instance that may run. The components
/// are installed from the first to the last and removed from the last to the first. Unlike a driver's, a
/// service's start or stop never waits for a restart; failures of the service control manager pass to the
/// caller.
class BaseService : public BaseObject {
 public:
  /// `name` is the service name. The components are the module and the registration, in this order; a derived
  /// class may add more.
  BaseService(LUnicodeString name, LPtrRef<BasePeModule> module,
              LPtrRef<BaseServiceRegistration> registration);

  /// Is the running instance the expected one, or none running?
  unsigned int IsActiveMeet() override;
  /// Starts the service, or restarts an unexpected instance.
  ActivateResult Activate() override;
  DeactivateResult Deactivate() override;
  /// Is any component present or some instance running?
  unsigned int IsInstalled() override;
  /// Are all components up to date and the expected instance running?
  unsigned int IsInstalledUpToDate() override;
  /// See `InstallAndActivate`.
  InstallResult Install(unsigned int flags) override;
  /// See `DeactivateAndRemove`.
  RemoveResult Remove(unsigned int flags) override;

  /// Is some instance running?
  virtual unsigned int IsActive() = 0;
  /// Is the expected instance running? Here: any.
  virtual unsigned int IsActiveUpToDate();
  /// See `StartByName`.
  virtual void Start();
  /// See `StopByName`; a service that is still stopping throws `UsageConflictException`.
  virtual void Stop();

 protected:
  const LPtrRef<BaseIndependedComplexObject> m_components;

 private:
  const LUnicodeString m_name;
};

}  // namespace DriverManagement
