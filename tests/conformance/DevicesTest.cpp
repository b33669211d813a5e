#include "conformance/Facts.h"

namespace {

constexpr wchar_t ClassText[] = L"{8ECC055D-047F-11D1-A537-0000F8753ED1}";
constexpr GUID Class = {0x8ECC055D, 0x047F, 0x11D1, {0xA5, 0x37, 0x00, 0x00, 0xF8, 0x75, 0x3E, 0xD1}};
constexpr GUID NoClass = {0x12345678, 0x1234, 0x1234, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr wchar_t Node[] = L"System\\CurrentControlSet\\Enum\\ROOT\\LEGACY_KVCONF\\0000";

void SetText(const wchar_t* path, const wchar_t* value, const wchar_t* text) {
  HKEY key = nullptr;
  RegCreateKeyExW(HKEY_LOCAL_MACHINE, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
  const auto size = static_cast<DWORD>((Narrow(text).size() + 1) * sizeof(wchar_t));
  REQUIRE(RegSetValueExW(key, value, 0, REG_SZ, reinterpret_cast<const BYTE*>(text), size) == 0);
  CHECK(RegCloseKey(key) == 0);
}

HANDLE Open(const wchar_t* device) {
  return CreateFileW(device, GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
}

BOOL Control(HANDLE device) {
  DWORD returned = 0;
  return DeviceIoControl(device, 0x222000, nullptr, 0, nullptr, 0, &returned, nullptr);
}

}  // namespace

TEST_CASE("device nodes") {
  MachineSession session;
  // Every Windows has the class; where it is missing it stays, as it does when a client application makes it.
  SetText(Wide() + L"System\\CurrentControlSet\\Control\\Class\\" + ClassText, L"Class", L"LegacyDriver");
  SetText(Node, L"ClassGUID", ClassText);
  SetText(Node, L"Service", L"kvconf");
  GUID classes[2] = {};
  DWORD classCount = 77;
  Given("classes");
  BOOL_FACT("TRUE", SetupDiClassGuidsFromNameW(L"lEGACYdRIVER", classes, 2, &classCount));
  FACT("1, 2395735389", std::to_string(classCount) + ", " + std::to_string(classes[0].Data1));
  BOOL_FACT("FALSE 122", SetupDiClassGuidsFromNameW(L"LegacyDriver", nullptr, 0, &classCount));
  BOOL_FACT("TRUE", SetupDiClassGuidsFromNameW(L"kvnone", classes, 2, &classCount));
  FACT("0", std::to_string(classCount));

  Given("nodes of an unknown class");
  SP_DEVINFO_DATA device = {};
  HDEVINFO set = SetupDiGetClassDevsW(&NoClass, nullptr, nullptr, 0);
  BOOL_FACT("FALSE 1784", SetupDiEnumDeviceInfo(set, 0, &device));
  device.cbSize = sizeof(device);
  BOOL_FACT("FALSE 259", SetupDiEnumDeviceInfo(set, 1, &device));
  LEFT_FACT("0", SetupDiDestroyDeviceInfoList(set) == TRUE);

  Given("enumerators");
  const auto count = [&](const wchar_t* enumerator) {
    set = SetupDiGetClassDevsW(&Class, enumerator, nullptr, 0);
    DWORD index = 0;
    while (SetupDiEnumDeviceInfo(set, index, &device)) {
      ++index;
    }
    CHECK(SetupDiDestroyDeviceInfoList(set));
    return std::to_string(index);
  };
  FACT("1", count(L"Root\\Legacy_KvConf"));
  FACT("0", count(L"ROOT\\LEGACY_KVCON"));

  Given("node");
  set = SetupDiGetClassDevsW(&Class, nullptr, nullptr, 0);
  wchar_t service[32] = {};
  DWORD type = 0;
  DWORD needed = 0;
  const auto get = [&](DWORD property, DWORD room) {
    return SetupDiGetDeviceRegistryPropertyW(set, &device, property, &type, reinterpret_cast<BYTE*>(service),
                                             room, &needed);
  };
  DWORD index = 0;
  while (SetupDiEnumDeviceInfo(set, index, &device) &&
         !(get(SPDRP_SERVICE, 64) && Narrow(service) == "kvconf")) {
    ++index;
  }
  FACT("kvconf, 1, 14", Narrow(service) + ", " + std::to_string(type) + ", " + std::to_string(needed));
  BOOL_FACT("TRUE", get(SPDRP_SERVICE, 14));
  BOOL_FACT("FALSE 122", get(SPDRP_SERVICE, 13));
  BOOL_FACT("FALSE 13", get(12, 64));  // its friendly name, which it lacks
  BOOL_FACT("TRUE", SetupDiCallClassInstaller(DIF_REMOVE, set, &device));
  FACT("no key", Stored(Node, L"Service"));
  FACT("no key", Stored(L"System\\CurrentControlSet\\Enum\\ROOT\\LEGACY_KVCONF", L""));
  CHECK(SetupDiDestroyDeviceInfoList(set));
}

TEST_CASE("devices") {
  MachineSession session;
  const Wide path = InWindows(L"kvconf.tmp");
  const HANDLE file = CreateFileW(path, GENERIC_READ, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  Given("devices");
  FILE_FACT("2", Open(L"\\\\.\\kvnone"));
  FILE_FACT("3", Open(L"\\\\.\\kvnone\\sub"));
  BOOL_FACT("FALSE 6", Control(nullptr));
  BOOL_FACT("FALSE 87", Control(file));
  CHECK((CloseHandle(file) && DeleteFileW(path)));
}
