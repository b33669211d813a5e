#include "drivermanagement/LifeTimeEntry.h"

#include "foundation/LittleEndian.h"
#include "system/File.h"
#include "system/Manager.h"
#include "system/WindowsApi.h"

namespace DriverManagement {

using LCommon::System::File;
using LCommon::System::RegistryKey;

namespace {

constexpr const wchar_t* ModeValue = L"Mode";
constexpr const wchar_t* FileValue = L"File";
constexpr const wchar_t* TimeValue = L"Time";

// Null when the value is missing or of another type.
LPtrRef<RegistryKey::Value> ReadValue(LPtrRef<RegistryKey> key, LUnicodeString name,
                                      RegistryKey::Value::Type type) {
  const auto value = key->GetValue(name, nullptr);
  return value.Valid() && value->GetType() == type ? value : nullptr;
}

}  // namespace

std::optional<std::uint32_t> ReadNumber(LPtrRef<RegistryKey> key, LUnicodeString name) {
  const auto value = ReadValue(key, name, RegistryKey::Value::typeInt32);
  if (!value.Valid() || value->GetData().Size() < sizeof(std::uint32_t)) return std::nullopt;
  return value->GetInt32Data();
}

bool LifeTimeEntry::HasLapsed(LPtrRef<RegistryKey> lifeTimeKey, LUnicodeString name) {
  if (name.IsEmpty()) return false;
  try {
    return !LifeTimeEntry(lifeTimeKey->Open(name, KEY_READ)).IsAlive();
  } catch (const RegistryKey::NotFoundException&) {
    return true;
  }
}

bool LifeTimeEntry::IsBoundToFile(LUnicodeString filePathName) const {
  if (ReadNumber(m_key, ModeValue) != ModeFile) return false;
  const auto file = ReadValue(m_key, FileValue, RegistryKey::Value::typeString);
  return file.Valid() && file->GetStringData() == filePathName;
}

bool LifeTimeEntry::IsBoundToTimeAndAlive() const {
  return ReadNumber(m_key, ModeValue) == ModeTime && IsTimeAlive();
}

void LifeTimeEntry::BindToFile(LUnicodeString filePathName) {
  m_key->SetInt32Value(ModeValue, ModeFile);
  m_key->SetStringValue(FileValue, filePathName);
  DeleteValueIfAny(TimeValue);
}

void LifeTimeEntry::BindToTime() {
  m_key->SetInt32Value(ModeValue, ModeTime);
  LBuffer time;
  LAppendLittleEndian(time, LCommon::System::Manager::Instance().GetSystemTime());
  m_key->SetBinaryValue(TimeValue, time);
  DeleteValueIfAny(FileValue);
}

bool LifeTimeEntry::IsAlive() const {
  const auto mode = ReadNumber(m_key, ModeValue);
  if (mode == ModeTime) return IsTimeAlive();
  if (mode != ModeFile) return false;
  const auto file = ReadValue(m_key, FileValue, RegistryKey::Value::typeString);
  if (!file.Valid()) return false;
  try {
    return File::IsExist(file->GetStringData());
  } catch (const File::AccessDeniedException&) {
    // What may not be looked at may be there: a client's claim is not dropped on a doubt.
    return true;
  } catch (const File::Exception&) {
    return false;
  }
}

bool LifeTimeEntry::IsTimeAlive() const {
  const auto time = ReadValue(m_key, TimeValue, RegistryKey::Value::typeBinary);
  if (!time.Valid()) return false;
  const LBuffer bytes = time->GetBinaryData();
  if (bytes.Size() != sizeof(std::uint64_t)) return false;
  const std::uint64_t lapse = LReadLittleEndian<std::uint64_t>(bytes.Data()) + TimeToLive;
  return LCommon::System::Manager::Instance().GetSystemTime() < lapse;
}

void LifeTimeEntry::DeleteValueIfAny(LUnicodeString name) {
  try {
    m_key->DeleteValue(name);
  } catch (const RegistryKey::NotFoundException&) {
    // Nothing to delete.
  }
}

}  // namespace DriverManagement
