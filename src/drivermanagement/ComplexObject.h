#pragma once

#include "drivermanagement/BaseObject.h"
#include "foundation/ClassArray.h"
#include "foundation/PtrRef.h"

namespace DriverManagement {

/// A managed object made of members, added once by its owner's constructor and held for good. Every operation
/// asserts that there are members. What a member throws leaves the operation at once: the members not yet
/// visited stay untouched.
class BaseComplexObject : public BaseObject {
 public:
  /// Appends a member and returns its index.
  unsigned int Add(LPtrRef<BaseObject> object);

  // Members are asked from the first to the last until the answer is known.

  /// Does every member's running state do?
  unsigned int IsActiveMeet() override;
  /// Is any member installed?
  unsigned int IsInstalled() override;
  /// Is every member installed up to date?
  unsigned int IsInstalledUpToDate() override;
  /// Has every member expired?
  unsigned int IsExpired() override;
  /// Touches every member.
  void Touch() override;

 protected:
  LClassArray<LPtrRef<BaseObject>, LPtrRef<BaseObject>, 2> m_objects;
};

/// A complex object whose members do not depend on each other: an operation is applied to every member,
/// whatever the others returned, and the results are combined. Members are activated and installed from the
/// first to the last, deactivated, removed, uninstalled and purged from the last to the first. A member's
/// result outside its enumeration is asserted.
class BaseIndependedComplexObject : public BaseComplexObject {
 public:
  /// The common result of all members; `activateUpdated` (with a restart pending: `activateUpdatedReboot`)
  /// when they differ in what was active before.
  ActivateResult Activate() override;
  /// `deactivateNotActive` when no member was active.
  DeactivateResult Deactivate() override;
  /// Combined as for `Activate`.
  InstallResult Install(unsigned int flags) override;
  /// Not supported, always asserted: a complex object is brought up to date by `Install`.
  UpdateResult Update(unsigned int flags) override;
  /// Combined as for `Deactivate`.
  RemoveResult Remove(unsigned int flags) override;
  /// `uninstallPartial` (or `uninstallPartialReboot`) when only some members could go; `uninstallStillNeeded`
  /// when none did and one is needed.
  UninstallResult Uninstall(unsigned int flags) override;
  /// Combined as for `Uninstall`.
  PurgeResult Purge(unsigned int flags) override;
};

}  // namespace DriverManagement
