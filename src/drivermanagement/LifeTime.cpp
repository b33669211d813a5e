#include "drivermanagement/LifeTime.h"

#include "foundation/Assert.h"
#include "system/File.h"
#include "system/WindowsApi.h"

namespace DriverManagement {

using LCommon::System::File;
using LCommon::System::RegistryKey;

namespace {

constexpr const wchar_t* LifeTimeKey = L"LifeTime";
constexpr const wchar_t* AutoValue = L"Auto";

LUnicodeString ResolveFilePath(LUnicodeString filePathName) {
  return filePathName.IsEmpty() ? filePathName : File::ResolveSubstDriveInFullPath(filePathName);
}

// Null without a record.
LPtrRef<RegistryKey> OpenLifeTimeKey(LPtrRef<RegistryKey> serviceKey) {
  try {
    return serviceKey->Open(LifeTimeKey, KEY_READ);
  } catch (const RegistryKey::NotFoundException&) {
    return nullptr;
  }
}

bool IsAutomatic(LPtrRef<RegistryKey> lifeTimeKey) {
  return ReadNumber(lifeTimeKey, AutoValue).value_or(0) != 0;
}

void DeleteEntry(LPtrRef<RegistryKey> serviceKey, LUnicodeString name) {
  serviceKey->Open(LifeTimeKey, KEY_ALL_ACCESS)->DeleteTree(name);
}

bool MayWrite(LPtrRef<RegistryKey> entryKey, LPtrRef<RegistryKey> lifeTimeKey,
              LPtrRef<RegistryKey> serviceKey) {
  try {
    entryKey->Open(KEY_ALL_ACCESS);
    lifeTimeKey->Open(KEY_ALL_ACCESS);
    serviceKey->Open(KEY_ALL_ACCESS);
    return true;
  } catch (const RegistryKey::AccessDeniedException&) {
    return false;
  }
}

}  // namespace

GenericLifeTime::GenericLifeTime(LUnicodeString serviceName, LUnicodeString unique,
                                 LUnicodeString filePathName)
    : m_serviceKeyPath(LUnicodeString(L"System\\CurrentControlSet\\Services\\") + serviceName),
      m_unique(unique),
      m_filePathName(ResolveFilePath(filePathName)) {}

unsigned int GenericLifeTime::IsAttached() {
  return FindAttached(false);
}

unsigned int GenericLifeTime::IsAlreadyAttached() {
  return FindAttached(true);
}

void GenericLifeTime::Attach(unsigned int automatic) {
  if (IsAlreadyAttached()) return;
  const auto lifeTimeKey = OpenServiceKey(KEY_ALL_ACCESS)->Create(LifeTimeKey, KEY_ALL_ACCESS);
  LifeTimeEntry entry(lifeTimeKey->Create(m_unique, KEY_ALL_ACCESS));
  if (IsFileBound()) {
    entry.BindToFile(m_filePathName);
  } else {
    entry.BindToTime();
  }
  if (automatic != 0) {
    lifeTimeKey->SetInt32Value(AutoValue, 1);
  } else if (!lifeTimeKey->GetValue(AutoValue, nullptr).Valid()) {
    lifeTimeKey->SetInt32Value(AutoValue, 0);
  }
}

void GenericLifeTime::Detach() {
  L_ASSERT(m_unique.Length() != 0);
  const auto serviceKey = OpenServiceKey(KEY_READ);
  try {
    if (serviceKey->Open(LifeTimeKey, KEY_READ)->IsChildExist(m_unique)) DeleteEntry(serviceKey, m_unique);
  } catch (const RegistryKey::NotFoundException&) {
    // Nothing to give up, or another program was quicker.
  }
}

unsigned int GenericLifeTime::Purge() {
  const auto serviceKey = OpenServiceKey(KEY_READ);
  const auto lifeTimeKey = OpenLifeTimeKey(serviceKey);
  if (!lifeTimeKey.Valid()) return 0;
  const LUnicodeStringArray names = lifeTimeKey->GetChilds();
  bool anyAlive = false;
  for (unsigned int index = 0; index < names.Length(); ++index) {
    if (LifeTimeEntry::HasLapsed(lifeTimeKey, names[index])) {
      DeleteEntry(serviceKey, names[index]);
    } else {
      anyAlive = true;
    }
  }
  return !anyAlive && IsAutomatic(lifeTimeKey);
}

unsigned int GenericLifeTime::IsExpired() {
  LPtrRef<RegistryKey> serviceKey;
  try {
    serviceKey = OpenServiceKey(KEY_READ);
  } catch (const ObjectNotFoundException&) {
    return 1;
  }
  const auto lifeTimeKey = OpenLifeTimeKey(serviceKey);
  return lifeTimeKey.Valid() && IsAutomatic(lifeTimeKey) && lifeTimeKey->GetChilds().Length() == 0;
}

bool GenericLifeTime::IsFileBound() const {
  const wchar_t* const path = m_filePathName.Data();
  if (m_filePathName.Length() > 1 && path[0] == L'\\' && path[1] == L'\\') return false;
  return File::GetVolumeType(File::GetVolumePath(m_filePathName)) == File::volumeFixed;
}

LPtrRef<RegistryKey> GenericLifeTime::OpenServiceKey(RegistryKey::AccessType access) const {
  try {
    return RegistryKey::LocalMachine()->Open(m_serviceKeyPath, access);
  } catch (const RegistryKey::NotFoundException&) {
    throw ObjectNotFoundException(L_HERE);
  }
}

unsigned int GenericLifeTime::FindAttached(bool unlessRenewable) const {
  L_ASSERT(m_unique.Length() != 0);
  L_ASSERT(m_filePathName.Length() != 0);
  const auto serviceKey = OpenServiceKey(KEY_READ);
  try {
    const auto lifeTimeKey = serviceKey->Open(LifeTimeKey, KEY_READ);
    if (!ReadNumber(lifeTimeKey, AutoValue)) return 0;
    const auto entryKey = lifeTimeKey->Open(m_unique, KEY_READ);
    const LifeTimeEntry entry(entryKey);
    if (IsFileBound()) return entry.IsBoundToFile(m_filePathName);
    if (unlessRenewable && MayWrite(entryKey, lifeTimeKey, serviceKey)) return 0;
    return entry.IsBoundToTimeAndAlive();
  } catch (const RegistryKey::NotFoundException&) {
    return 0;
  }
}

}  // namespace DriverManagement
