#include "support/MachineParts.h"

#include <stdexcept>

#include "support/Utf8.h"
#include "system/WindowsApi.h"

std::vector<std::string> ValueNames(LUnicodeString path) {
  std::vector<std::string> names;
  HKEY key = nullptr;
  RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.Data(), 0, KEY_READ, &key);
  wchar_t name[256];
  for (DWORD index = 0, length = 256;
       RegEnumValueW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr) == 0;
       ++index, length = 256)
    names.push_back(Utf8(LUnicodeString(name, length)));
  RegCloseKey(key);
  return names;
}

void AddLegacyDevice(LUnicodeString service, LUnicodeString instance) {
  const GUID legacyDriver = {0x8ECC055D, 0x047F, 0x11D1, {0xA5, 0x37, 0x00, 0x00, 0xF8, 0x75, 0x3E, 0xD1}};
  const LUnicodeString id = LUnicodeString(L"ROOT\\LEGACY_") + service + L'\\' + instance;
  const HDEVINFO set = SetupDiCreateDeviceInfoList(&legacyDriver, nullptr);
  SP_DEVINFO_DATA device = {};
  device.cbSize = sizeof(device);
  const bool made = SetupDiCreateDeviceInfoW(set, id.Data(), &legacyDriver, nullptr, nullptr, 0, &device) &&
                    SetupDiSetDeviceRegistryPropertyW(set, &device, SPDRP_SERVICE,
                                                      reinterpret_cast<const BYTE*>(service.Data()),
                                                      service.Buffer().Size()) &&
                    SetupDiCallClassInstaller(DIF_REGISTERDEVICE, set, &device);
  SetupDiDestroyDeviceInfoList(set);
  if (!made) throw std::runtime_error("no device");
}

void MakeFolder(const wchar_t* path) {
  if (!CreateDirectoryW(path, nullptr)) throw std::runtime_error("no folder");
}

void RemoveFolder(const wchar_t* path) {
  RemoveDirectoryW(path);
}

std::shared_ptr<void> UseImage(LUnicodeString path) {
  const HANDLE file =
      CreateFileW(path.Data(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  const HANDLE mapping = CreateFileMappingW(file, nullptr, PAGE_READONLY | SEC_IMAGE, 0, 0, nullptr);
  void* const view = MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0);
  CloseHandle(mapping);
  CloseHandle(file);
  if (view == nullptr) throw std::runtime_error("no image");
  return {view, UnmapViewOfFile};
}
