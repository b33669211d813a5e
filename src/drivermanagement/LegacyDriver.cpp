#include "drivermanagement/LegacyDriver.h"

#include "drivermanagement/RunningService.h"
#include "foundation/Assert.h"
#include "system/ServiceControl.h"

namespace DriverManagement {

BaseLegacyDriver::BaseLegacyDriver(LUnicodeString name, LPtrRef<BaseLifeTime> lifeTime,
                                   LPtrRef<BaseObject> module, LPtrRef<BaseObject> registration)
    : m_name(name), m_lifeTime(lifeTime) {
  m_components->Add(module);
  m_components->Add(registration);
}

unsigned int BaseLegacyDriver::IsInstalledUpToDate() {
  return BaseDriver::IsInstalledUpToDate() && m_lifeTime->IsAttached();
}

BaseObject::InstallResult BaseLegacyDriver::Install(unsigned int flags) {
  const InstallResult result = BaseDriver::Install(flags);
  const bool putInPlace = result == installDone || result == installDoneReboot;
  m_lifeTime->Attach(putInPlace);
  return result;
}

BaseObject::UninstallResult BaseLegacyDriver::Uninstall(unsigned int flags) {
  try {
    m_lifeTime->Detach();
  } catch (const BaseLifeTime::ObjectNotFoundException&) {
    // No record, so no claim to give up.
  }
  const PurgeResult result = Purge(flags);
  if (result > purgeNotInstalled) L_UNREACHABLE();
  return static_cast<UninstallResult>(result);  // the same values by definition
}

BaseObject::PurgeResult BaseLegacyDriver::Purge(unsigned int flags) {
  try {
    if (!m_lifeTime->Purge()) return purgeStillNeeded;
  } catch (const BaseLifeTime::ObjectNotFoundException&) {
    // Without a service key nobody can have a claim, but a file or a log source may be left.
  }
  return BaseDriver::Purge(flags);
}

unsigned int BaseLegacyDriver::IsExpired() {
  return m_lifeTime->IsExpired();
}

void BaseLegacyDriver::Touch() {
  m_lifeTime->Attach(0);
}

unsigned int BaseLegacyDriver::Start() {
  StartByName(m_name);
  return 1;
}

unsigned int BaseLegacyDriver::Stop() {
  try {
    StopByName(m_name, {"unsigned int __cdecl DriverManagement::BaseLegacyDriver::Stop(void)", 71});
    return 1;
  } catch (const LCommon::System::ServiceControl::Service::InvalidControlException&) {
    return 0;
  }
}

}  // namespace DriverManagement
