#pragma once

#include "foundation/Exception.h"
#include "foundation/Object.h"

namespace DriverManagement {

/// The root of the object model's own exceptions; not thrown itself.
class BaseException : public LBaseException {
 public:
  using LBaseException::LBaseException;
};

/// A managed object: anything the program installs, checks or removes, always held through `LPtrRef`. Objects
/// keep no state between calls: every predicate asks the system afresh, every operation acts on the system as
/// it is. Predicates answer 0 or 1. Ordinary outcomes are results; exceptions are those below and failures of
/// the platform. `flags` reaches every part of an object unchanged; any value but 0 asks objects that can run
/// to be activated after installing and deactivated before removing.
class BaseObject : public virtual LRefObject {
 public:
  /// The root of the life-cycle exceptions; not thrown itself.
  class Exception : public BaseException {
   public:
    using BaseException::BaseException;
  };
  /// A driver's device reports that the driver does not support this operating system.
  class IncompatibleOsException : public Exception {
   public:
    using Exception::Exception;
  };
  /// A driver's device reports that the system runs in safe mode.
  class SafeModeDetectedException : public Exception {
   public:
    using Exception::Exception;
  };
  /// Nothing can be installed before a restart, because a service is still marked for deletion.
  class NeedRebootImmediatelyException : public Exception {
   public:
    using Exception::Exception;
  };
  /// Something to be stopped is in use and does not stop now.
  class UsageConflictException : public Exception {
   public:
    using Exception::Exception;
  };

  // Results whose names end in Reboot: done as far as possible now, completed by the next restart.

  enum ActivateResult : unsigned int {
    activateDone = 0,
    activateDoneReboot = 1,
    activateUpdated = 2,  ///< something was active already and has been restarted or completed
    activateUpdatedReboot = 3,
    activateUpToDate = 4,  ///< the current version was active already; nothing done
  };
  enum DeactivateResult : unsigned int {
    deactivateDone = 0,
    deactivateDoneReboot = 1,
    deactivateNotActive = 2,  ///< nothing was active; nothing done
  };
  enum InstallResult : unsigned int {
    installDone = 0,
    installDoneReboot = 1,
    installUpdated = 2,  ///< was installed partly or differently and has been brought up to date
    installUpdatedReboot = 3,
    installUpToDate = 4,  ///< was installed exactly so; nothing done
  };
  enum UpdateResult : unsigned int {
    updateDone = 0,
    updateDoneReboot = 1,
    updateUpToDate = 2,      ///< nothing done
    updateNotInstalled = 3,  ///< nothing done
  };
  enum RemoveResult : unsigned int {
    removeDone = 0,
    removeDoneReboot = 1,
    removeNotInstalled = 2,  ///< nothing was installed; nothing done
  };
  enum UninstallResult : unsigned int {
    uninstallDone = 0,
    uninstallDoneReboot = 1,
    uninstallPartial = 2,  ///< some members removed, others still needed or not removable
    uninstallPartialReboot = 3,
    uninstallStillNeeded = 4,  ///< nothing removed
    uninstallNotInstalled = 5,
  };
  enum PurgeResult : unsigned int {
    purgeDone = 0,
    purgeDoneReboot = 1,
    purgePartial = 2,  ///< some members removed, others still needed or not removable
    purgePartialReboot = 3,
    purgeStillNeeded = 4,  ///< nothing removed
    purgeNotInstalled = 5,
  };

  /// Is the running state acceptable in its present form? Here always: nothing runs.
  virtual unsigned int IsActiveMeet();
  /// Starts what can run. Here `activateUpToDate`.
  virtual ActivateResult Activate();
  /// Stops what can run. Here `deactivateNotActive`.
  virtual DeactivateResult Deactivate();
  /// Is any part of the object present on the system?
  virtual unsigned int IsInstalled() = 0;
  /// Is the object present exactly as this program would install it now? Here: is it installed?
  virtual unsigned int IsInstalledUpToDate();
  /// Creates the object or brings it up to date.
  virtual InstallResult Install(unsigned int flags) = 0;
  /// Brings an installed object up to date. Here by `Install`, which is not called for one not installed.
  virtual UpdateResult Update(unsigned int flags);
  /// Deletes the object unconditionally.
  virtual RemoveResult Remove(unsigned int flags) = 0;
  /// Gives up the caller's claim and removes the object if no claim is left. Here by `Remove`: no claims.
  virtual UninstallResult Uninstall(unsigned int flags);
  /// Removes the object if no claim is left. Here by `Remove`: no claims.
  virtual PurgeResult Purge(unsigned int flags);
  /// Has every claim on the object lapsed? Here always: no claims.
  virtual unsigned int IsExpired();
  /// Records the caller's use, so that the object counts as needed. Here nothing: no claims.
  virtual void Touch();
};

}  // namespace DriverManagement
