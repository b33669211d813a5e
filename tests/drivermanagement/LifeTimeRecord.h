#pragma once

#include <cstdint>
#include <string>

#include "drivermanagement/LifeTime.h"
#include "support/SystemSession.h"
#include "support/TestFile.h"
#include "support/TestKey.h"

constexpr const wchar_t* ServicePath = L"System\\CurrentControlSet\\Services\\kvtest";
constexpr const wchar_t* RecordPath = L"System\\CurrentControlSet\\Services\\kvtest\\LifeTime";
constexpr const wchar_t* ClientPath = L"System\\CurrentControlSet\\Services\\kvtest\\LifeTime\\client";
constexpr std::uint64_t ThirtyDays = 0x1792F8648000;

constexpr const wchar_t* LocalFile = L"C:\\Program Files\\app.exe";
constexpr const wchar_t* RemoteFile = L"\\\\server\\share\\app.exe";

inline LBuffer TimeBytes(std::uint64_t time) {
  return LBuffer(&time, sizeof(time));
}

/// A machine with the service key of a driver.
struct RecordSession : SystemSession {
  const TestKey service{ServicePath};

  std::uint64_t Now() { return LCommon::System::Manager::Instance().GetSystemTime(); }
  std::string Record() { return RegistryText(RecordPath); }

  LPtrRef<LCommon::System::RegistryKey> Entry(LUnicodeString name, unsigned int mode) {
    const auto entry = service.Make(LUnicodeString(L"LifeTime\\") + name);
    entry->SetInt32Value(L"Mode", mode);
    return entry;
  }
  void FileEntry(LUnicodeString name, LUnicodeString file) { Entry(name, 0)->SetStringValue(L"File", file); }
  void TimeEntry(LUnicodeString name, LBuffer time) { Entry(name, 1)->SetBinaryValue(L"Time", time); }
  void SetAuto(std::uint32_t value) { MakeKey(RecordPath)->SetInt32Value(L"Auto", value); }
};

inline DriverManagement::GenericLifeTime Driver() {
  return DriverManagement::GenericLifeTime(L"kvtest", L"", L"");
}
inline DriverManagement::GenericLifeTime Client(const wchar_t* file) {
  return DriverManagement::GenericLifeTime(L"kvtest", L"client", file);
}
