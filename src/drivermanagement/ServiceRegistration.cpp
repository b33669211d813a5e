#include "drivermanagement/ServiceRegistration.h"

#include "foundation/PtrRef.h"
#include "system/Environment.h"
#include "system/File.h"
#include "system/RegistryKey.h"
#include "system/ServiceControl.h"
#include "system/WindowsApi.h"

namespace DriverManagement {

namespace {

using LCommon::System::Environment;
using LCommon::System::File;
using LCommon::System::RegistryKey;
using ServiceManager = LCommon::System::ServiceControl::Manager;
using LCommon::System::ServiceControl::Service;

// A driver's image path may leave out any number of leading directories of the drivers directory; one that
// spells out the rest of them means the same file.
LUnicodeString NormalizeDriverPath(LUnicodeString path) {
  static constexpr const wchar_t* directories[] = {L"SystemRoot", L"system32", L"drivers"};
  constexpr unsigned int directoryCount = 3;
  const LUnicodeStringArray components = File::SplitPathComponents(path);
  const unsigned int given = components.Length() - 1;
  if (components.Length() == 0 || given > directoryCount) return path;
  for (unsigned int index = 0; index < given; ++index) {
    if (components[index] != LUnicodeString(directories[directoryCount - given + index])) return path;
  }
  return LUnicodeString(L"\\SystemRoot\\system32\\drivers\\") + components[given];
}

bool SameNames(const LUnicodeStringArray& first, const LUnicodeStringArray& second) {
  if (first.Length() != second.Length()) return false;
  for (unsigned int index = 0; index < first.Length(); ++index) {
    if (first[index] != second[index]) return false;
  }
  return true;
}

}  // namespace

BaseServiceRegistration::BaseServiceRegistration(LUnicodeString name, LUnicodeString displayName,
                                                 LUnicodeString description, unsigned int serviceType,
                                                 unsigned int startType, unsigned int errorControl,
                                                 LUnicodeString imagePath, LUnicodeString loadOrderGroup,
                                                 LUnicodeStringArray dependencies,
                                                 LUnicodeString serviceStartName, LUnicodeString password)
    : m_name(name),
      m_displayName(displayName),
      m_description(description),
      m_serviceType(serviceType),
      m_startType(startType),
      m_errorControl(errorControl),
      m_imagePath(imagePath),
      m_loadOrderGroup(loadOrderGroup),
      m_dependencies(dependencies),
      m_serviceStartName(serviceStartName),
      m_password(password) {}

unsigned int BaseServiceRegistration::IsInstalled() {
  try {
    return Service::IsExist(ServiceManager::Open(SC_MANAGER_CONNECT), m_name);
  } catch (const ServiceManager::AccessDeniedException&) {
    return IsKeyExist();
  } catch (const Service::AccessDeniedException&) {
    return IsKeyExist();
  }
}

unsigned int BaseServiceRegistration::IsInstalledUpToDate() {
  LPtrRef<Service> service;
  try {
    service = Service::Open(ServiceManager::Open(SC_MANAGER_CONNECT), m_name, SERVICE_QUERY_CONFIG);
  } catch (const Service::NotFoundException&) {
    return 0;
  } catch (const ServiceManager::AccessDeniedException&) {
    return IsInstalled();
  } catch (const Service::AccessDeniedException&) {
    return IsInstalled();
  }
  const LPtrRef<Service::Config> config = service->QueryConfig();
  if (config->serviceType != m_serviceType) return 0;
  if (config->startType != m_startType) return 0;
  if (config->errorControl != m_errorControl) return 0;
  if (!m_imagePath.IsEmpty() &&
      NormalizeImagePath(m_imagePath) != NormalizeImagePath(config->binaryPathName)) {
    return 0;
  }
  // Against plain text the comparison is exact: group names differ by letter case, unlike all others here.
  if (!m_loadOrderGroup.IsEmpty() && config->loadOrderGroup != m_loadOrderGroup.Data()) return 0;
  if (m_dependencies.Length() != 0 && !SameNames(config->dependencies, m_dependencies)) return 0;
  return m_serviceStartName.IsEmpty() || config->serviceStartName == m_serviceStartName;
}

BaseObject::InstallResult BaseServiceRegistration::Install(unsigned int) {
  if (IsInstalledUpToDate()) return installUpToDate;
  if (IsInstalled()) {
    const auto service =
        Service::Open(ServiceManager::Open(SC_MANAGER_CONNECT), m_name, SERVICE_CHANGE_CONFIG);
    try {
      service->ChangeConfig(m_displayName, static_cast<Service::Type>(m_serviceType),
                            static_cast<Service::StartType>(m_startType),
                            static_cast<Service::ErrorControlType>(m_errorControl), m_imagePath,
                            m_loadOrderGroup, nullptr, m_dependencies, m_serviceStartName, m_password);
    } catch (const Service::MarkedForDeleteException&) {
      throw NeedRebootImmediatelyException(
          LLocation{"enum DriverManagement::BaseObject::InstallResult __cdecl "
                    "DriverManagement::BaseServiceRegistration::Install(unsigned int)",
                    287});
    }
    return installUpdated;
  }
  const auto service = Service::Create(
      ServiceManager::Open(SC_MANAGER_CREATE_SERVICE), m_name, m_displayName, SERVICE_ALL_ACCESS,
      static_cast<Service::Type>(m_serviceType), static_cast<Service::StartType>(m_startType),
      static_cast<Service::ErrorControlType>(m_errorControl), m_imagePath, m_loadOrderGroup, nullptr,
      m_dependencies, m_serviceStartName, m_password);
  RemoveWow64Mark();
  try {
    service->ChangeDescription(m_description);
  } catch (const Service::NotSupportedException&) {
    // This Windows keeps no descriptions.
  }
  return installDone;
}

BaseObject::RemoveResult BaseServiceRegistration::Remove(unsigned int) {
  try {
    Service::Open(ServiceManager::Open(SC_MANAGER_CONNECT), m_name, DELETE)->Delete();
    return removeDone;
  } catch (const Service::MarkedForDeleteException&) {
    return removeDoneReboot;
  } catch (const Service::NotFoundException&) {
    return removeNotInstalled;
  }
}

unsigned int BaseServiceRegistration::IsKeyExist() {
  return RegistryKey::LocalMachine()->IsChildExist(KeyPath());
}

LUnicodeString BaseServiceRegistration::NormalizeImagePath(LUnicodeString path) const {
  return m_serviceType == SERVICE_KERNEL_DRIVER ? NormalizeDriverPath(path)
                                                : Environment::ExpandVariables(path);
}

LUnicodeString BaseServiceRegistration::KeyPath() const {
  return LUnicodeString(L"System\\CurrentControlSet\\Services\\") + m_name;
}

// The service control manager marks entries that a 32-bit process creates on 64-bit Windows.
void BaseServiceRegistration::RemoveWow64Mark() const {
  try {
    RegistryKey::LocalMachine()->Open(KeyPath(), KEY_WRITE)->DeleteValue(L"WOW64");
  } catch (const RegistryKey::NotFoundException&) {
    // No mark.
  }
}

}  // namespace DriverManagement
