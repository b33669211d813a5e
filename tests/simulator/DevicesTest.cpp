#include <doctest/doctest.h>

#include "simulator/LastError.h"
#include "support/MachineSession.h"

using winsim::Bytes;
using winsim::Devices;
using winsim::DriverBehaviour;

namespace {

constexpr DWORD ShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

struct WithDriver : MachineSession {
  WithDriver() : devices(Machine().devices), behaviour(devices.Behaviour(u"kvenv01")) {
    Machine().files.WriteFile(Image, "image");
  }
  ~WithDriver() { devices.UnloadAll(); }

  void Load() { REQUIRE(devices.Load(u"kvenv01", Image) == 0); }

  const std::u16string Image = u"C:\\Windows\\system32\\drivers\\kvenv01.sys";
  Devices& devices;
  DriverBehaviour& behaviour;
};

HANDLE OpenDevice(const wchar_t* name) {
  return CreateFileW(name, GENERIC_READ, ShareAll, nullptr, OPEN_EXISTING, 0, nullptr);
}

DWORD OpenError(const wchar_t* name) {
  return FailureOf(INVALID_HANDLE_VALUE, [&] {
    const HANDLE device = OpenDevice(name);
    CHECK((device == INVALID_HANDLE_VALUE || CloseHandle(device) == TRUE));
    return device;
  });
}

}  // namespace

TEST_CASE("a driver's devices are there while it is loaded") {
  WithDriver session;
  Devices& devices = session.devices;
  const wchar_t* const names[] = {L"\\\\.\\kvenv01", L"\\\\.\\KVENV01I", L"\\\\?\\kvenv01", L"\\\\.\\extra"};
  session.behaviour.furtherDevices = {u"extra"};
  CHECK(devices.Load(u"kvenv01", u"C:\\none.sys") == ERROR_FILE_NOT_FOUND);
  session.Load();
  CHECK(devices.Load(u"KVENV01", session.Image) == ERROR_SERVICE_ALREADY_RUNNING);
  for (const wchar_t* const name : names) {
    CHECK(OpenError(name) == Untouched);
  }
  CHECK(OpenError(L"\\\\.\\kvenv01\\x") == ERROR_PATH_NOT_FOUND);
  CHECK(FailureOf([] { return DeleteFileW(L"C:\\Windows\\system32\\drivers\\kvenv01.sys"); }) ==
        ERROR_ACCESS_DENIED);
  session.behaviour.openErrors = {{u"KVENV01", 0xE0000001}};
  CHECK(OpenError(names[0]) == 0xE0000001);
  CHECK(OpenError(names[1]) == Untouched);
  devices.UnloadAll();
  CHECK(OpenError(L"\\\\.\\kvenv01i") == ERROR_FILE_NOT_FOUND);
  CHECK(DeleteFileW(L"C:\\Windows\\system32\\drivers\\kvenv01.sys") == TRUE);
}

TEST_CASE("a driver stays until its last device is closed") {
  WithDriver session;
  Devices& devices = session.devices;
  session.Load();
  SUBCASE("with an open device") {
    const HANDLE device = OpenDevice(L"\\\\.\\kvenv01i");
    CHECK(devices.Stop(u"kvenv01") == Devices::StopResult::pending);
    CHECK(OpenError(L"\\\\.\\kvenv01") == ERROR_FILE_NOT_FOUND);
    CHECK(devices.IsLoaded(u"kvenv01"));
    CHECK(CloseHandle(device) == TRUE);
    CHECK_FALSE(devices.IsLoaded(u"kvenv01"));
  }
  SUBCASE("taken away under an open device and loaded anew") {
    const HANDLE device = OpenDevice(L"\\\\.\\kvenv01i");
    devices.Unload(u"kvenv01");
    session.Load();
    DWORD returned = 9;
    CHECK(FailureOf([&] { return DeviceIoControl(device, 1, nullptr, 0, nullptr, 0, &returned, nullptr); }) ==
          31);
    CHECK(CloseHandle(device) == TRUE);
    CHECK(devices.Stop(u"kvenv01") == Devices::StopResult::stopped);
  }
}

TEST_CASE("a device answers control codes as far as the buffer reaches") {
  constexpr DWORD Code = 0x91012400;
  const Bytes answer = {1, 2, 3, 4, 5, 6, 7, 8};
  const struct {
    winsim::DeviceReply reply;
    DWORD room, error, returned;
  } cases[] = {{{answer, {}, 0}, 8, Untouched, 8},       {{answer, {}, 0}, 24, Untouched, 8},
               {{answer, {}, 0}, 7, ERROR_MORE_DATA, 7}, {{answer, {}, 0}, 0, ERROR_MORE_DATA, 0},
               {{answer, 0, 0}, 5, Untouched, 5},        {{answer, 300, 0}, 256, ERROR_MORE_DATA, 8},
               {{answer, 300, 0}, 512, Untouched, 8},    {{answer, {}, 0xE0000001}, 24, 0xE0000001, 0},
               {{{}, {}, 0}, 24, Untouched, 0}};
  WithDriver session;
  session.Load();
  const HANDLE device = OpenDevice(L"\\\\.\\kvenv01i");
  const auto control = [&](DWORD code, Bytes input, Bytes& output, DWORD& returned) {
    return ErrorOf([&] {
      DeviceIoControl(device, code, input.data(), static_cast<DWORD>(input.size()), output.data(),
                      static_cast<DWORD>(output.size()), &returned, nullptr);
    });
  };
  std::vector<winsim::DeviceRequest> expected;
  for (const auto& test : cases) {
    CAPTURE(test.room);
    session.behaviour.replies[Code] = test.reply;
    const Bytes input(test.room % 4, 0x5A);
    Bytes output(test.room, 0xCC);
    DWORD returned = 99;
    CHECK(control(Code, input, output, returned) == test.error);
    CHECK(returned == test.returned);
    Bytes filled(test.room, 0xCC);
    std::copy_n(answer.begin(), test.returned, filled.begin());
    CHECK(output == filled);
    expected.push_back({u"kvenv01i", Code, input});
  }
  CHECK(session.behaviour.requests == expected);

  Bytes output;
  DWORD returned = 99;
  CHECK(control(7, {}, output, returned) == ERROR_INVALID_FUNCTION);
  session.behaviour.otherCodes = 0;
  CHECK(control(7, {}, output, returned) == Untouched);
  CHECK(CloseHandle(device) == TRUE);
  CHECK(control(7, {}, output, returned) == ERROR_INVALID_HANDLE);
}
