#include "drivermanagement/Driver.h"

#include "drivermanagement/ActivationResults.h"
#include "foundation/Assert.h"

namespace DriverManagement {

BaseDriver::BaseDriver() : m_components(LMakeRef<BaseIndependedComplexObject>()) {}

unsigned int BaseDriver::IsActiveMeet() {
  return IsActiveUpToDate() || !IsActive();
}

BaseObject::ActivateResult BaseDriver::Activate() {
  if (IsActiveUpToDate()) return activateUpToDate;
  if (IsActive()) return Stop() && Start() ? activateUpdated : activateUpdatedReboot;
  return Start() ? activateDone : activateDoneReboot;
}

BaseObject::DeactivateResult BaseDriver::Deactivate() {
  if (!IsActive()) return deactivateNotActive;
  return Stop() ? deactivateDone : deactivateDoneReboot;
}

unsigned int BaseDriver::IsInstalled() {
  return m_components->IsInstalled() || IsActive();
}

unsigned int BaseDriver::IsInstalledUpToDate() {
  return m_components->IsInstalledUpToDate() && IsActiveUpToDate();
}

BaseObject::InstallResult BaseDriver::Install(unsigned int flags) {
  return InstallAndActivate(*this, *m_components, flags, L_HERE);
}

BaseObject::UpdateResult BaseDriver::Update(unsigned int) {
  L_UNREACHABLE();
}

BaseObject::RemoveResult BaseDriver::Remove(unsigned int flags) {
  return DeactivateAndRemove(*this, *m_components, flags, L_HERE);
}

unsigned int BaseDriver::IsActiveUpToDate() {
  return IsActive();
}

}  // namespace DriverManagement
