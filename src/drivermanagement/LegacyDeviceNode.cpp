#include "drivermanagement/LegacyDeviceNode.h"

#include <optional>

#include "foundation/ClassArray.h"
#include "system/PlatformApi.h"
#include "system/WindowsApi.h"

namespace DriverManagement {

namespace {

using ClassIds = LClassArray<GUID, GUID, 4>;
using Devices = LClassArray<SP_DEVINFO_DATA, SP_DEVINFO_DATA, 16>;

// A device information set, released at the end of its scope without touching the last error.
class DeviceSet {
 public:
  explicit DeviceSet(HDEVINFO set) : m_set(set) {}
  DeviceSet(const DeviceSet&) = delete;
  DeviceSet& operator=(const DeviceSet&) = delete;
  ~DeviceSet() {
    if (!IsValid()) return;
    const DWORD lastError = GetLastError();
    LCommon::System::SetupDiDestroyDeviceInfoListU(m_set);
    SetLastError(lastError);
  }

  bool IsValid() const { return m_set != INVALID_HANDLE_VALUE; }
  HDEVINFO Get() const { return m_set; }

 private:
  HDEVINFO m_set;
};

// No value on failure, with the last error.
std::optional<ClassIds> LegacyDriverClasses() {
  ClassIds classes;
  DWORD capacity = 4;
  while (true) {
    classes.SetSize(capacity);
    DWORD count = 0;
    if (LCommon::System::SetupDiClassGuidsFromNameU(L"LegacyDriver", &classes[0], capacity, &count)) {
      classes.SetSize(count);
      return classes;
    }
    if (GetLastError() != ERROR_INSUFFICIENT_BUFFER || count <= capacity) return std::nullopt;
    capacity = count;
  }
}

Devices DevicesOf(const DeviceSet& set) {
  Devices devices;
  SP_DEVINFO_DATA device = {};
  device.cbSize = sizeof(device);
  for (DWORD index = 0; LCommon::System::SetupDiEnumDeviceInfoU(set.Get(), index, &device); ++index) {
    devices.Append(device);
  }
  return devices;
}

// No value on failure, with the last error. The buffer holds the longest name that a service can have.
std::optional<LUnicodeString> ServiceOf(const DeviceSet& set, SP_DEVINFO_DATA& device) {
  constexpr DWORD longestName = 256;
  wchar_t name[longestName + 2] = {};
  if (!LCommon::System::SetupDiGetDeviceRegistryPropertyU(set.Get(), &device, SPDRP_SERVICE, nullptr,
                                                          reinterpret_cast<BYTE*>(name),
                                                          (longestName + 1) * sizeof(wchar_t), nullptr)) {
    return std::nullopt;
  }
  return LUnicodeString(name);
}

}  // namespace

bool RemoveLegacyDeviceNode(LUnicodeString name) {
  auto classes = LegacyDriverClasses();
  if (!classes) return false;
  for (unsigned int classIndex = 0; classIndex < classes->Length(); ++classIndex) {
    const DeviceSet set(LCommon::System::SetupDiGetClassDevsU(&(*classes)[classIndex], nullptr, nullptr, 0));
    if (!set.IsValid()) return false;
    Devices devices = DevicesOf(set);
    for (unsigned int index = 0; index < devices.Length(); ++index) {
      const auto service = ServiceOf(set, devices[index]);
      if (!service) return false;
      if (*service == name) {
        return LCommon::System::SetupDiCallClassInstallerU(DIF_REMOVE, set.Get(), &devices[index]) != FALSE;
      }
    }
  }
  return true;
}

}  // namespace DriverManagement
