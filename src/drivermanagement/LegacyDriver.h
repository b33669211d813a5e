#pragma once

#include "drivermanagement/Driver.h"
#include "drivermanagement/DriverDevice.h"
#include "drivermanagement/LifeTime.h"
#include "foundation/PtrRef.h"
#include "foundation/UnicodeString.h"
#include "system/Handle.h"

namespace DriverManagement {

/// A driver that is started and stopped through the service control manager and shared by clients whose
/// claims its lifetime record keeps. Besides what the operations name, failures of the lifetime pass to the
/// caller, among them `BaseLifeTime::ObjectNotFoundException` when the driver's service key does not exist.
class BaseLegacyDriver : public BaseDriver {
 public:
  /// `name` is the service name. The components are the module and the registration, in this order; a
  /// derived class may add more.
  BaseLegacyDriver(LUnicodeString name, LPtrRef<BaseLifeTime> lifeTime, LPtrRef<BaseObject> module,
                   LPtrRef<BaseObject> registration);

  /// The driver's answer, and is the client of the lifetime attached?
  unsigned int IsInstalledUpToDate() override;
  /// Installs the driver and attaches the client; an installation that put the driver in place asks for its
  /// automatic removal later.
  InstallResult Install(unsigned int flags) override;
  /// Detaches the client, if there is a record, and purges.
  UninstallResult Uninstall(unsigned int flags) override;
  /// Removes the driver unless its lifetime record keeps it. A driver without service key is not kept.
  PurgeResult Purge(unsigned int flags) override;
  /// Does the lifetime record count no claim?
  unsigned int IsExpired() override;
  /// Attaches the client.
  void Touch() override;

  /// Always 1; failures pass as exceptions of `LCommon::System::ServiceControl`.
  unsigned int Start() override;
  /// 0 for a driver that does not accept the request. One that accepts it but cannot unload now throws
  /// `UsageConflictException`.
  unsigned int Stop() override;

 private:
  const LUnicodeString m_name;
  const LPtrRef<BaseLifeTime> m_lifeTime;
};

/// A driver whose main device clients may open.
class BaseOpenable : public virtual LRefObject {
 public:
  /// Opens the device. A driver's own refusals throw `BaseObject` exceptions, others pass as
  /// `LCommon::System::File` exceptions.
  virtual LPtrRef<LCommon::System::Handle> Open() = 0;
};

}  // namespace DriverManagement
