#include "drivermanagement/BaseObject.h"

#include <cstddef>

#include "foundation/Assert.h"

namespace DriverManagement {

namespace {

/// What `table` says for `result`; a result without an entry is none of its enumeration.
template <class Target, std::size_t Count>
Target Mapped(const Target (&table)[Count], unsigned int result) {
  if (result >= Count) L_UNREACHABLE();
  return table[result];
}

}  // namespace

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
  return Mapped(FromInstall, Install(flags));
}

BaseObject::UninstallResult BaseObject::Uninstall(unsigned int flags) {
  static constexpr UninstallResult FromRemove[] = {uninstallDone, uninstallDoneReboot, uninstallNotInstalled};
  return Mapped(FromRemove, Remove(flags));
}

BaseObject::PurgeResult BaseObject::Purge(unsigned int flags) {
  static constexpr PurgeResult FromRemove[] = {purgeDone, purgeDoneReboot, purgeNotInstalled};
  return Mapped(FromRemove, Remove(flags));
}

unsigned int BaseObject::IsExpired() {
  return 1;
}

void BaseObject::Touch() {}

}  // namespace DriverManagement
