#include "drivermanagement/DeviceLifeTime.h"

#include <doctest/doctest.h>

#include "RegistryTextOnMachine.h"
#include "support/FailedCondition.h"
#include "support/SystemSession.h"
#include "system/RegistryKey.h"

using namespace DriverManagement;
using LCommon::System::RegistryKey;

namespace {

constexpr const char16_t* ServicePath = u"System\\CurrentControlSet\\Services\\drv";
constexpr const wchar_t* RemoteFile = L"\\\\server\\share\\app.exe";

struct DriverLifeTime : Gen4::GenericLifeTime {
  DriverLifeTime(LUnicodeString unique, LUnicodeString file) : GenericLifeTime(L"drv", unique, file) {}
  void AttachThroughDevice(unsigned int automatic) override { AttachByDevice(L"\\\\.\\drvi", 0, automatic); }
  void DetachThroughDevice() override { DetachByDevice(L"\\\\.\\drvi", 0); }
};

struct DriverSession : SystemSession {
  winsim::DriverBehaviour& behaviour = Machine().devices.Behaviour(u"drv");

  DriverSession() {
    behaviour.otherCodes = 0;
    Machine().registry.SetNumber(std::u16string(ServicePath) + u"\\LifeTime", u"Auto", 1);
    Machine().files.WriteFile(u"C:\\drv.sys", std::string_view("image"));
    REQUIRE(Machine().devices.Load(u"drv", u"C:\\drv.sys") == 0);
  }

  // The one request since the last call, its code being 0.
  winsim::Bytes TakeRequest() {
    REQUIRE(behaviour.requests.size() == 1);
    const winsim::DeviceRequest request = std::exchange(behaviour.requests, {}).front();
    CHECK(request == winsim::DeviceRequest{u"drvi", 0, request.input});
    return request.input;
  }
};

}  // namespace

TEST_CASE("the requests to the driver have their fixed layout") {
  DriverSession session;
  DriverLifeTime local(L"id", L"C:\\f");
  local.AttachThroughDevice(0x1FF);
  CHECK(session.TakeRequest() == winsim::Bytes{0,   0,    0,   0,    0xFF, 0,   0,   0,   0x10, 0, 6,
                                               0,   0x10, 0,   0x0A, 0,    'i', 0,   'd', 0,    0, 0,
                                               'C', 0,    ':', 0,    '\\', 0,   'f', 0,   0,    0});
  DriverLifeTime remote(L"i\x0416", RemoteFile);
  remote.AttachThroughDevice(0);
  CHECK(session.TakeRequest() ==
        winsim::Bytes{1, 0, 0, 0, 0, 0, 0, 0, 0x10, 0, 6, 0, 0, 0, 0, 0, 'i', 0, 0x16, 4, 0, 0});
  remote.DetachThroughDevice();
  CHECK(session.TakeRequest() == winsim::Bytes{'i', 0, 0x16, 4, 0, 0});
}

TEST_CASE("a text too long for the request's size fields is refused and nothing is sent") {
  DriverSession session;
  LUnicodeString longest;
  for (int length = 0; length < 32766; ++length)
    longest.Append(L'x');
  DriverLifeTime(longest, RemoteFile).AttachThroughDevice(0);
  const winsim::Bytes request = session.TakeRequest();
  CHECK(request.size() == 16 + 65534);
  CHECK((request[10] == 0xFE && request[11] == 0xFF));
  const LUnicodeString tooLong = longest + L'x';
  CHECK(FailedCondition([&] { DriverLifeTime(tooLong, RemoteFile).AttachThroughDevice(0); }) ==
        "byteSize <= 0xFFFF");
  CHECK(FailedCondition([&] { DriverLifeTime(L"", RemoteFile).AttachThroughDevice(0); }) ==
        "m_unique.Length() != 0");
  CHECK(session.behaviour.requests.empty());
}

TEST_CASE("a client without the right to write hands its request to the driver") {
  DriverSession session;
  winsim::Registry& registry = session.Machine().registry;
  DriverLifeTime client(L"id", RemoteFile);
  client.Attach(1);
  const std::string record = RegistryText(registry, ServicePath);

  for (const char16_t* const key : {u"", u"\\LifeTime"})
    registry.Deny(std::u16string(ServicePath) + key, KEY_WRITE);
  client.Attach(1);  // alive and not renewable: nothing to ask for
  CHECK(session.behaviour.requests.empty());
  session.Machine().clock.Advance(LifeTimeEntry::TimeToLive);
  client.Attach(1);
  CHECK(session.TakeRequest()[4] == 1);
  client.Detach();
  CHECK(session.TakeRequest().size() == 6);
  CHECK(RegistryText(registry, ServicePath) == record);

  session.behaviour.otherCodes = 31;
  CHECK_THROWS_AS(client.Attach(1), RegistryKey::AccessDeniedException);
  session.Machine().devices.Unload(u"drv");
  CHECK_THROWS_AS(client.Detach(), RegistryKey::AccessDeniedException);
  registry.DeleteTree(ServicePath);
  CHECK_THROWS_AS(client.Attach(1), BaseLifeTime::ObjectNotFoundException);
}
