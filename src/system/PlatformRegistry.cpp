#include "system/PlatformRegistry.h"

#include <algorithm>
#include <cstring>

#include "foundation/Buffer.h"
#include "system/AnsiText.h"
#include "system/PlatformCall.h"

namespace LCommon::System {

namespace {

bool IsStringType(DWORD type) {
  return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
}

/// Reads a value with the 8-bit function, whatever its size: into `data`, which ends with one zero byte more
/// than the value has.
LSTATUS ReadAnsiValue(HKEY key, LPCSTR name, LPDWORD reserved, DWORD& type, LBuffer& data) {
  for (DWORD room = AnsiStackBufferSize;; room += AnsiStackBufferSize) {
    data.SetSize(room + 1);
    DWORD size = room;
    LSTATUS status;
    {
      const LBufferLock lock(data);
      status = RegQueryValueExA(key, name, reserved, &type, lock.Data(), &size);
      if (status == ERROR_SUCCESS) lock.Data()[size] = 0;
    }
    if (status == ERROR_MORE_DATA) continue;
    data.SetSize(status == ERROR_SUCCESS ? size + 1 : 0);
    return status;
  }
}

/// The text of `ansi`, without the zero byte added behind it, in units.
LBuffer ToWideData(LBuffer& ansi) {
  LBuffer wide;
  wide.SetSize(LProduct(ansi.Size(), sizeof(wchar_t)));
  unsigned int length;
  {
    const LBufferLock source(ansi);
    const LBufferLock target(wide);
    char* const text = reinterpret_cast<char*>(source.Data());
    length = AnsiStringToUnicodeStringWithFree(reinterpret_cast<wchar_t*>(target.Data()), text, ansi.Size(),
                                               text, 0, 0);
  }
  wide.SetSize(LProduct(length, sizeof(wchar_t)));
  return wide;
}

}  // namespace

LSTATUS RegCreateKeyExU(HKEY key, LPCWSTR name, DWORD reserved, LPWSTR className, DWORD options,
                        REGSAM access, LPSECURITY_ATTRIBUTES security, PHKEY result, LPDWORD disposition) {
  return WideOnly(L_HERE, RegCreateKeyExW, key, name, reserved, className, options, access, security, result,
                  disposition);
}

LSTATUS RegDeleteKeyU(HKEY key, LPCWSTR name) {
  return WideOnly(L_HERE, RegDeleteKeyW, key, name);
}

LSTATUS RegEnumKeyExU(HKEY key, DWORD index, LPWSTR name, LPDWORD nameLength, LPDWORD reserved,
                      LPWSTR className, LPDWORD classLength, PFILETIME lastWrite) {
  return WideOnly(L_HERE, RegEnumKeyExW, key, index, name, nameLength, reserved, className, classLength,
                  lastWrite);
}

LSTATUS RegDeleteValueU(HKEY key, LPCWSTR name) {
  return WideOnly(L_HERE, RegDeleteValueW, key, name);
}

LSTATUS RegOpenKeyExU(HKEY key, LPCWSTR name, DWORD options, REGSAM access, PHKEY result) {
  if (Platform().unicode) return RegOpenKeyExW(key, name, options, access, result);
  return RegOpenKeyExA(key, AnsiText(name).Get(), options, access, result);
}

LSTATUS RegSetValueExU(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size) {
  if (Platform().unicode) return RegSetValueExW(key, name, reserved, type, data, size);
  AnsiText ansiName(name);
  if (!IsStringType(type)) return RegSetValueExA(key, ansiName.Get(), reserved, type, data, size);
  const DWORD length = size / static_cast<DWORD>(sizeof(wchar_t));
  AnsiText text(length ? reinterpret_cast<const wchar_t*>(data) : L"", length);
  return RegSetValueExA(key, ansiName.Get(), reserved, type, reinterpret_cast<const BYTE*>(text.Get()),
                        text.Length() + 1);
}

LSTATUS RegQueryValueExU(HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size) {
  if (Platform().unicode) return RegQueryValueExW(key, name, reserved, type, data, size);
  if (data && !size) return ERROR_INVALID_PARAMETER;
  DWORD valueType = REG_NONE;
  LBuffer value;
  const LSTATUS status = ReadAnsiValue(key, AnsiText(name).Get(), reserved, valueType, value);
  if (status != ERROR_SUCCESS) return status;
  if (IsStringType(valueType)) {
    value = ToWideData(value);
  } else {
    value.SetSize(value.Size() - 1);
  }

  if (type) *type = valueType;
  if (!size) return ERROR_SUCCESS;
  const DWORD room = *size;
  *size = value.Size();
  if (!data) return ERROR_SUCCESS;
  const DWORD copied = std::min<DWORD>(room, value.Size());
  if (copied != 0) std::memcpy(data, value.Data(), copied);
  return copied < value.Size() ? ERROR_MORE_DATA : ERROR_SUCCESS;
}

}  // namespace LCommon::System
