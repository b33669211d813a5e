#include <doctest/doctest.h>
#include <setupapi.h>

#include <cstring>

#include "simulator/LastError.h"
#include "support/MachineSession.h"

using winsim::FromWide;
using winsim::ToUtf8;

namespace {

const std::u16string EnumPath = u"System\\CurrentControlSet\\Enum\\";
constexpr GUID LegacyClass{0x8ECC055D, 0x047F, 0x11D1, {0xA5, 0x37, 0, 0, 0xF8, 0x75, 0x3E, 0xD1}};

bool Same(const GUID& left, const GUID& right) {
  return std::memcmp(&left, &right, sizeof left) == 0;
}

/// The devices of a class, closed at the end of the scope.
struct DeviceSet {
  explicit DeviceSet(const GUID* guid = &LegacyClass, const wchar_t* enumerator = nullptr, DWORD flags = 0)
      : handle(SetupDiGetClassDevsW(guid, enumerator, nullptr, flags)) {
    REQUIRE(handle != INVALID_HANDLE_VALUE);
  }
  ~DeviceSet() { CHECK(SetupDiDestroyDeviceInfoList(handle)); }

  /// The error of asking for a device, 0 when it is there.
  DWORD At(DWORD index, SP_DEVINFO_DATA& device) const {
    device = {};
    device.cbSize = sizeof device;
    const DWORD error = ErrorOf([&] { SetupDiEnumDeviceInfo(handle, index, &device); });
    return error == Untouched ? 0 : error;
  }

  /// The services of all devices.
  std::vector<std::string> Services() const {
    std::vector<std::string> services;
    SP_DEVINFO_DATA device;
    while (At(static_cast<DWORD>(services.size()), device) == 0) {
      wchar_t text[64] = {};
      CHECK(SetupDiGetDeviceRegistryPropertyW(handle, &device, SPDRP_SERVICE, nullptr,
                                              reinterpret_cast<BYTE*>(text), sizeof text, nullptr));
      services.push_back(ToUtf8(FromWide(text)));
    }
    return services;
  }

  HDEVINFO handle;
};

}  // namespace

TEST_CASE("devices are listed by class and enumerator in the order of their keys") {
  MachineSession session;
  winsim::Machine& machine = session.Machine();
  machine.deviceNodes.AddLegacy(u"two");
  machine.deviceNodes.AddLegacy(u"one", u"0001");
  machine.deviceNodes.AddLegacy(u"one");
  const std::u16string other = EnumPath + u"PCI\\DEV\\7";
  machine.registry.SetString(other, u"ClassGUID", u"{4d36e97d-e325-11ce-bfc1-08002be10318}");
  machine.registry.SetString(other, u"Service", u"pci");
  using Names = std::vector<std::string>;
  CHECK(DeviceSet().Services() == Names{"one", "one", "two"});
  CHECK(DeviceSet(&LegacyClass, L"root").Services() == Names{"one", "one", "two"});
  CHECK(DeviceSet(&LegacyClass, L"PCI").Services().empty());
  CHECK(DeviceSet(nullptr, nullptr, 4).Services() == Names{"pci", "one", "one", "two"});
  const DeviceSet set;
  SP_DEVINFO_DATA device;
  REQUIRE(set.At(2, device) == 0);
  CHECK(Same(device.ClassGuid, LegacyClass));
  CHECK(set.At(3, device) == ERROR_NO_MORE_ITEMS);
  device.cbSize = 28;
  CHECK(ErrorOf([&] { SetupDiEnumDeviceInfo(set.handle, 0, &device); }) == ERROR_INVALID_USER_BUFFER);
  CHECK(FailureOf([] { return SetupDiDestroyDeviceInfoList(nullptr); }) == ERROR_INVALID_HANDLE);
}

TEST_CASE("removing a device deletes its instance, and the device with its last instance") {
  MachineSession session;
  winsim::Machine& machine = session.Machine();
  machine.deviceNodes.AddLegacy(u"one");
  machine.deviceNodes.AddLegacy(u"one", u"0001");
  machine.registry.Make(EnumPath + u"ROOT\\LEGACY_ONE\\0000\\Control");
  const DeviceSet set;
  SP_DEVINFO_DATA first, second;
  REQUIRE(set.At(0, first) == 0);
  REQUIRE(set.At(1, second) == 0);
  const auto remove = [&](SP_DEVINFO_DATA& device) {
    return ErrorOf([&] { SetupDiCallClassInstaller(DIF_REMOVE, set.handle, &device); });
  };
  machine.registry.Deny(EnumPath + u"ROOT\\LEGACY_ONE\\0000", DELETE);
  CHECK(remove(first) == ERROR_ACCESS_DENIED);
  machine.registry.Deny(EnumPath + u"ROOT\\LEGACY_ONE\\0000", 0);
  CHECK(remove(first) == Untouched);
  CHECK(machine.registry.Find(EnumPath + u"ROOT\\LEGACY_ONE\\0000") == nullptr);
  CHECK(remove(first) == ERROR_NO_SUCH_DEVINST);
  CHECK(machine.registry.Find(EnumPath + u"ROOT\\LEGACY_ONE\\0001") != nullptr);
  CHECK(remove(second) == Untouched);
  CHECK(machine.registry.Find(EnumPath + u"ROOT\\LEGACY_ONE") == nullptr);
  CHECK(machine.registry.Find(EnumPath + u"ROOT") != nullptr);
}
