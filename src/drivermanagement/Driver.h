#pragma once

#include "drivermanagement/BaseObject.h"
#include "drivermanagement/ComplexObject.h"
#include "foundation/PtrRef.h"

namespace DriverManagement {

/// A kernel driver: components that are installed and removed, and an instance that may be loaded. The
/// components are installed from the first to the last and removed from the last to the first.
class BaseDriver : public BaseObject {
 public:
  /// Without components; the derived class adds them.
  BaseDriver();

  /// Is the loaded instance the expected one, or nothing loaded?
  unsigned int IsActiveMeet() override;
  /// Starts the driver, or restarts an unexpected instance. The reboot results stand for a driver that only
  /// the next system start loads or replaces.
  ActivateResult Activate() override;
  /// `deactivateDoneReboot` for a driver that stays loaded until the restart.
  DeactivateResult Deactivate() override;
  /// Is any component present or some instance loaded?
  unsigned int IsInstalled() override;
  /// Are all components up to date and the expected instance loaded?
  unsigned int IsInstalledUpToDate() override;
  /// See `InstallAndActivate`.
  InstallResult Install(unsigned int flags) override;
  /// Not supported, always asserted: a driver is brought up to date by `Install`.
  UpdateResult Update(unsigned int flags) override;
  /// See `DeactivateAndRemove`.
  RemoveResult Remove(unsigned int flags) override;

  /// Is some instance loaded?
  virtual unsigned int IsActive() = 0;
  /// Is the expected instance loaded? Here: any.
  virtual unsigned int IsActiveUpToDate();
  /// Loads the driver; 0 when only the next system start can.
  virtual unsigned int Start() = 0;
  /// Unloads the driver; 0 when only the next restart can.
  virtual unsigned int Stop() = 0;

 protected:
  const LPtrRef<BaseIndependedComplexObject> m_components;
};

}  // namespace DriverManagement
