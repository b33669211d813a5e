#include "system/RegistryKey.h"

#include "system/ErrorTable.h"
#include "system/Growth.h"
#include "system/OptionalText.h"
#include "system/PlatformApi.h"

namespace LCommon::System {

namespace {

using Key = RegistryKey;

constexpr auto plainErrors =
    MakeErrorTable<Key::Exception>(On<Key::AccessDeniedException>(ERROR_ACCESS_DENIED));
constexpr auto keyErrors = MakeErrorTable<Key::Exception>(
    On<Key::KeyNotFoundException>(ERROR_FILE_NOT_FOUND), On<Key::AccessDeniedException>(ERROR_ACCESS_DENIED));
constexpr auto valueErrors =
    MakeErrorTable<Key::Exception>(On<Key::ValueNotFoundException>(ERROR_FILE_NOT_FOUND),
                                   On<Key::AccessDeniedException>(ERROR_ACCESS_DENIED));

template <class Table>
void Check(LLocation location, const Table& errors, LSTATUS result) {
  if (result != ERROR_SUCCESS) errors.Throw(location, static_cast<unsigned int>(result));
}

}  // namespace

LPtrRef<RegistryKey> RegistryKey::LocalMachine() {
  return LMakeRef<RegistryKey>(LMakeRef<Handle>(HKEY_LOCAL_MACHINE));
}

LPtrRef<RegistryKey> RegistryKey::Create(LUnicodeString name, AccessType access) {
  const LPtrRef<Handle> handle = LMakeRef<Handle>();
  Check(L_HERE, plainErrors,
        RegCreateKeyExU(m_handle->Get(), OptionalText(name), 0, nullptr, REG_OPTION_NON_VOLATILE, access,
                        nullptr, handle->Receive(), nullptr));
  return LMakeRef<RegistryKey>(handle);
}

LPtrRef<RegistryKey> RegistryKey::Open(LUnicodeString name, AccessType access) {
  const LPtrRef<Handle> handle = LMakeRef<Handle>();
  Check(L_HERE, keyErrors, RegOpenKeyExU(m_handle->Get(), OptionalText(name), 0, access, handle->Receive()));
  return LMakeRef<RegistryKey>(handle);
}

LPtrRef<RegistryKey> RegistryKey::Open(AccessType access) {
  return Open(LUnicodeString(), access);
}

bool RegistryKey::IsChildExist(LUnicodeString name) {
  try {
    Open(name, KEY_READ);
    return true;
  } catch (const KeyNotFoundException&) {
    return false;
  }
}

void RegistryKey::Delete(LUnicodeString name) {
  Check(L_HERE, keyErrors, RegDeleteKeyU(m_handle->Get(), OptionalText(name)));
}

void RegistryKey::DeleteTree(LUnicodeString name, unsigned int levels) {
  // Deeper than any registry is: a link back to a key above.
  if (levels == 0) throw Exception(L_HERE, ERROR_FILENAME_EXCED_RANGE);
  {
    const LPtrRef<RegistryKey> subkey = Open(name, KEY_ALL_ACCESS);
    const LUnicodeStringArray children = subkey->GetChilds();
    for (unsigned int index = 0; index < children.Length(); ++index) {
      if (children[index].IsEmpty()) continue;  // The key itself would be meant.
      try {
        subkey->DeleteTree(children[index], levels - 1);
      } catch (const KeyNotFoundException&) {
        // Somebody else deleted it, which is what was wanted.
      }
    }
  }
  Delete(name);
}

LUnicodeStringArray RegistryKey::GetChilds() {
  LUnicodeStringArray names;
  for (DWORD index = 0;; ++index) {
    LSTATUS result = ERROR_SUCCESS;
    const LUnicodeString name = ReadGrowingText(32, [&](wchar_t* buffer, unsigned int room) {
      DWORD size = room + 1;
      FILETIME lastWrite = {};
      result = RegEnumKeyExU(m_handle->Get(), index, buffer, &size, nullptr, nullptr, nullptr, &lastWrite);
      return result != ERROR_MORE_DATA;
    });
    if (result == ERROR_NO_MORE_ITEMS) return names;
    Check(L_HERE, plainErrors, result);
    names.Append(name);
  }
}

LPtrRef<RegistryKey::Value> RegistryKey::GetValue(LUnicodeString name) {
  LBuffer data;
  data.SetSize(32);
  for (;;) {
    DWORD type = 0;
    DWORD size = data.Size();
    LSTATUS result;
    {
      const LBufferLock lock(data);
      result = RegQueryValueExU(m_handle->Get(), OptionalText(name), nullptr, &type, lock.Data(), &size);
    }
    if (result != ERROR_MORE_DATA) {
      Check(L_HERE, valueErrors, result);
      data.SetSize(size);
      return LMakeRef<Value>(type, data);
    }
    data.SetSize(size > data.Size() ? size : Doubled(data.Size()));
  }
}

LPtrRef<RegistryKey::Value> RegistryKey::GetValue(LUnicodeString name, LPtrRef<Value> fallback) {
  try {
    return GetValue(name);
  } catch (const ValueNotFoundException&) {
    return fallback;
  }
}

void RegistryKey::SetValue(LUnicodeString name, LPtrRef<Value> value) {
  const LBuffer data = value->GetData();
  Check(L_HERE, plainErrors,
        RegSetValueExU(m_handle->Get(), OptionalText(name), 0, value->GetType(), data.Data(), data.Size()));
}

void RegistryKey::SetInt32Value(LUnicodeString name, std::uint32_t number) {
  SetValue(name, LMakeRef<Value>(number));
}

void RegistryKey::SetBinaryValue(LUnicodeString name, LBuffer data) {
  SetValue(name, LMakeRef<Value>(data));
}

void RegistryKey::SetStringValue(LUnicodeString name, LUnicodeString text) {
  SetValue(name, LMakeRef<Value>(text, Value::typeString));
}

void RegistryKey::SetExpandStringValue(LUnicodeString name, LUnicodeString text) {
  SetValue(name, LMakeRef<Value>(text, Value::typeExpandString));
}

void RegistryKey::DeleteValue(LUnicodeString name) {
  Check(L_HERE, valueErrors, RegDeleteValueU(m_handle->Get(), OptionalText(name)));
}

RegistryKey::Handle::~Handle() {
  if (m_key != nullptr && m_key != HKEY_LOCAL_MACHINE && m_key != HKEY_CURRENT_USER) RegCloseKey(m_key);
}

}  // namespace LCommon::System
