#include <doctest/doctest.h>

#include "simulator/LastError.h"
#include "support/MachineSession.h"

using winsim::Devices;

TEST_CASE("a driver that is told to stop, or taken away, leaves its open devices behind") {
  const std::u16string image = u"C:\\Windows\\system32\\drivers\\kvenv01.sys";
  MachineSession session;
  Devices& devices = session.Machine().devices;
  const auto open = [](const wchar_t* name) {
    return CreateFileW(name, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  };
  CHECK(devices.Load(u"kvenv01", image) == ERROR_FILE_NOT_FOUND);
  session.Machine().files.WriteFile(image, "image");
  REQUIRE(devices.Load(u"kvenv01", image) == 0);
  HANDLE device = open(L"\\\\.\\KVENV01I");
  CHECK(devices.Stop(u"kvenv01") == Devices::StopResult::pending);
  CHECK(FailureOf(INVALID_HANDLE_VALUE, [&] { return open(L"\\\\.\\kvenv01"); }) == ERROR_FILE_NOT_FOUND);
  CHECK(devices.IsLoaded(u"kvenv01"));
  CHECK(CloseHandle(device) == TRUE);
  CHECK_FALSE(devices.IsLoaded(u"kvenv01"));

  REQUIRE(devices.Load(u"kvenv01", image) == 0);
  device = open(L"\\\\.\\kvenv01i");
  devices.Unload(u"kvenv01");
  REQUIRE(devices.Load(u"kvenv01", image) == 0);
  DWORD returned = 0;
  CHECK(FailureOf([&] { return DeviceIoControl(device, 1, nullptr, 0, nullptr, 0, &returned, nullptr); }) ==
        31);
  CHECK(CloseHandle(device) == TRUE);
  CHECK(devices.Stop(u"kvenv01") == Devices::StopResult::stopped);
}
