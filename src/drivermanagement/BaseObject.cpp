#include "drivermanagement/BaseObject.h"

#include "system/EnumTable.h"

namespace DriverManagement {

using LCommon::System::EntryFor;

unsigned int BaseObject::IsActiveMeet() {
  return 1;
}

BaseObject::ActivateResult BaseObject::Activate() {
  return activateUpToDate;
}

BaseObject::DeactivateResult BaseObject::Deactivate() {
  return deactivateNotActive;
}

unsigned int BaseObject::IsInstalledUpToDate() {
  return IsInstalled();
}

BaseObject::UpdateResult BaseObject::Update(unsigned int flags) {
  static constexpr UpdateResult FromInstall[] = {updateDone, updateDoneReboot, updateDone, updateDoneReboot,
                                                 updateUpToDate};
  if (!IsInstalled()) return updateNotInstalled;
  return EntryFor(FromInstall, Install(flags));
}

BaseObject::UninstallResult BaseObject::Uninstall(unsigned int flags) {
  static constexpr UninstallResult FromRemove[] = {uninstallDone, uninstallDoneReboot, uninstallNotInstalled};
  return EntryFor(FromRemove, Remove(flags));
}

BaseObject::PurgeResult BaseObject::Purge(unsigned int flags) {
  static constexpr PurgeResult FromRemove[] = {purgeDone, purgeDoneReboot, purgeNotInstalled};
  return EntryFor(FromRemove, Remove(flags));
}

unsigned int BaseObject::IsExpired() {
  return 1;
}

void BaseObject::Touch() {}

}  // namespace DriverManagement
