#pragma once

#include "foundation/UnicodeString.h"

namespace DriverManagement::Gen4 {

/// What sets one managed driver apart from the others. Everything named after the driver is formed from its
/// service name.
struct DriverFacts {
  const wchar_t* serviceName;
  const wchar_t* displayName;
  /// Empty for none.
  const wchar_t* loadOrderGroup;
  /// The device control that asks a loaded driver what it is.
  unsigned int stateControlCode;
  /// Whether the service control manager can load and unload it; otherwise only a start of the system can.
  bool starts;
  bool stops;

  LUnicodeString ImageFileName() const { return Named(L"", L".sys"); }
  LUnicodeString ServiceImagePath() const { return Named(L"system32\\drivers\\", L".sys"); }
  LUnicodeString MessageFile() const { return Named(L"%SystemRoot%\\system32\\drivers\\", L".sys"); }
  /// What clients open.
  LUnicodeString MainDevice() const { return Named(L"\\\\.\\", L""); }
  /// Where the driver is asked for its state and told about clients.
  LUnicodeString InterfaceDevice() const { return Named(L"\\\\.\\", L"i"); }

 private:
  LUnicodeString Named(const wchar_t* before, const wchar_t* after) const {
    return LUnicodeString(before) + serviceName + after;
  }
};

}  // namespace DriverManagement::Gen4
