#pragma once

#include <string>

#include "drivermanagement/ServiceRegistration.h"
#include "support/TestFile.h"
#include "support/TestKey.h"
#include "support/Utf8.h"

/// An entry "kvtest" of the service database.
struct Entry {
  LUnicodeString displayName = L"KV test", description = L"";
  unsigned int type = SERVICE_KERNEL_DRIVER, start = SERVICE_BOOT_START, errorControl = SERVICE_ERROR_NORMAL;
  LUnicodeString image = L"system32\\drivers\\kvtest.sys", group = L"";
  LUnicodeStringArray dependencies = {};
  LUnicodeString account = L"";
};

inline Entry FullEntry() {
  return {.description = L"What it does", .start = SERVICE_SYSTEM_START, .group = L"System Bus Extender"};
}
inline Entry Win32Entry() {
  return {.type = SERVICE_WIN32_OWN_PROCESS,
          .start = SERVICE_AUTO_START,
          .image = L"%SystemRoot%\\system32\\kvtest.exe svc",
          .account = L"LocalSystem"};
}

inline LPtrRef<DriverManagement::BaseServiceRegistration> Registration(const Entry& entry) {
  return LMakeRef<DriverManagement::BaseServiceRegistration>(
      L"kvtest", entry.displayName, entry.description, entry.type, entry.start, entry.errorControl,
      entry.image, entry.group, entry.dependencies, entry.account, L"");
}

inline LUnicodeStringArray Names(std::initializer_list<const wchar_t*> names) {
  LUnicodeStringArray array;
  for (const wchar_t* const name : names)
    array.Append(name);
  return array;
}

/// What the entry has of all that a registration may say, "none" without the entry. The type of the image
/// path's text, a driver's account and the mark of a 32-bit creator are left to the service control manager.
inline std::string EntryText() {
  constexpr const wchar_t* path = L"System\\CurrentControlSet\\Services\\kvtest";
  if (RegistryText(path) == "none") return "none";
  std::string text;
  for (const wchar_t* const name :
       {L"Type", L"Start", L"ErrorControl", L"DisplayName", L"Group", L"DependOnService", L"Description"})
    text += Utf8(name) + "=" + ValueText(path, name) + " ";
  if (text.starts_with("Type=16 ")) text += ValueText(path, L"ObjectName") + " ";
  const std::string image = ValueText(path, L"ImagePath");
  return text + image.substr(image.find('"'));
}

/// No entry before and after the test.
struct NoEntry {
  NoEntry() { Registration({})->Remove(0); }
  ~NoEntry() { Registration({})->Remove(0); }
};
