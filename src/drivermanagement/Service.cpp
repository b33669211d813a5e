#include "drivermanagement/Service.h"

#include "drivermanagement/ActivationResults.h"
#include "drivermanagement/RunningService.h"

namespace DriverManagement {

BaseService::BaseService(LUnicodeString name, LPtrRef<BasePeModule> module,
                         LPtrRef<BaseServiceRegistration> registration)
    : m_components(LMakeRef<BaseIndependedComplexObject>()), m_name(name) {
  m_components->Add(module);
  m_components->Add(registration);
}

unsigned int BaseService::IsActiveMeet() {
  return IsActiveUpToDate() || !IsActive();
}

BaseObject::ActivateResult BaseService::Activate() {
  if (IsActiveUpToDate()) return activateUpToDate;
  const bool unexpectedRuns = IsActive() != 0;
  if (unexpectedRuns) Stop();
  Start();
  return unexpectedRuns ? activateUpdated : activateDone;
}

BaseObject::DeactivateResult BaseService::Deactivate() {
  if (!IsActive()) return deactivateNotActive;
  Stop();
  return deactivateDone;
}

unsigned int BaseService::IsInstalled() {
  return m_components->IsInstalled() || IsActive();
}

unsigned int BaseService::IsInstalledUpToDate() {
  return m_components->IsInstalledUpToDate() && IsActiveUpToDate();
}

BaseObject::InstallResult BaseService::Install(unsigned int flags) {
  return InstallAndActivate(*this, *m_components, flags,
                            {"enum DriverManagement::BaseObject::InstallResult __cdecl "
                             "DriverManagement::BaseService::Install(unsigned int)",
                             __LINE__});
}

BaseObject::RemoveResult BaseService::Remove(unsigned int flags) {
  return DeactivateAndRemove(*this, *m_components, flags,
                             {"enum DriverManagement::BaseObject::RemoveResult __cdecl "
                              "DriverManagement::BaseService::Remove(unsigned int)",
                              __LINE__});
}

unsigned int BaseService::IsActiveUpToDate() {
  return IsActive();
}

void BaseService::Start() {
  StartByName(m_name);
}

void BaseService::Stop() {
  StopByName(m_name, {"void __cdecl DriverManagement::BaseService::Stop(void)", __LINE__});
}

}  // namespace DriverManagement
