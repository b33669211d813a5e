#include "drivermanagement/DriverDevice.h"

#include <doctest/doctest.h>

#include "LifeTimeRecord.h"
#include "drivermanagement/BaseObject.h"
#include "drivermanagement/DeviceLifeTime.h"
#include "support/ImageBuilder.h"
#include "support/Throws.h"

using namespace DriverManagement;
using LCommon::System::File;
using LCommon::System::RegistryKey;

namespace {

constexpr const wchar_t* Device = L"\\\\.\\kvtesti";
constexpr std::uint32_t Code = 0x91012400;
constexpr std::uint64_t Any = UnspecifiedVersion;

struct DriverLifeTime : Gen4::GenericLifeTime {
  DriverLifeTime(LUnicodeString unique, LUnicodeString file) : GenericLifeTime(L"kvtest", unique, file) {}
  void AttachThroughDevice(unsigned int automatic) override { AttachByDevice(Device, 0, automatic); }
  void DetachThroughDevice() override { DetachByDevice(Device, 0); }
};

// A loaded driver with a record.
struct DriverSession : RecordSession {
  winsim::Devices& devices = Machine().devices;
  winsim::DriverBehaviour& behaviour = devices.Behaviour(u"kvtest");

  DriverSession() {
    SetAuto(1);
    behaviour.otherCodes = 0;
    Machine().files.WriteFile(u"C:\\kvtest.sys", std::string_view("image"));
    REQUIRE(devices.Load(u"kvtest", u"C:\\kvtest.sys") == 0);
  }

  // The one request since the last call, its code being 0.
  winsim::Bytes TakeRequest() {
    REQUIRE(behaviour.requests.size() == 1);
    const winsim::DeviceRequest request = std::exchange(behaviour.requests, {}).front();
    CHECK(request == winsim::DeviceRequest{u"kvtesti", 0, request.input});
    return request.input;
  }
};

winsim::Bytes Reply(std::initializer_list<std::uint32_t> numbers) {
  winsim::Bytes bytes;
  for (const std::uint32_t number : numbers)
    PutNumber(bytes, bytes.size(), 4, number);
  return bytes;
}

}  // namespace

TEST_CASE("a loaded driver's state is compared as far as the driver tells it") {
  DriverSession session;
  constexpr std::uint32_t unknown = 0xFFFFFFFF;
  const std::uint64_t version = MajorMinorVersion(1, 2);
  const std::uint64_t target = MajorMinorVersion(6, 1);
  const auto isUpToDate = [&](const winsim::Bytes& reply, BuildType build, std::uint64_t expected,
                              std::uint64_t targeted) {
    session.behaviour.replies[Code].bytes = reply;
    return IsDriverStateUpToDate(Device, Code, build, expected, targeted);
  };
  for (const auto& reply :
       {Reply({1, 2, 0, 6, 1}), Reply({1, 3, 0, 6, 1, 99}), Reply({0x10001, 0x10002, 0, 6, 1}),
        Reply({1, 2, 0, 6, unknown}), Reply({1, 2, 0, 6}), Reply({unknown, 0, 0, 6, 1}), Reply({1, 2}),
        Reply({0}), winsim::Bytes(7), winsim::Bytes()}) {
    CHECK(isUpToDate(reply, buildRelease, version, target));
  }
  for (const auto& reply : {Reply({1, 1, 0, 6, 1}), Reply({1, 1, 0, 6, 1, 99}), Reply({1, 2, 1, 6, 1}),
                            Reply({1, 2, 0, 6, 2}), Reply({0, 0})})
    CHECK_FALSE(isUpToDate(reply, buildRelease, version, target));
  CHECK(isUpToDate(Reply({1, 1, 0, 6, 1}), buildRelease, Any, target));
  CHECK(isUpToDate(Reply({1, 2, 0, 6, 2}), buildRelease, version, Any));
  CHECK(isUpToDate(Reply({1, 2, 1, 6, 1}), buildUnknown, version, target));
  const std::pair<std::uint32_t, BuildType> builds[] = {{0x01, buildDebug},   {0x29, buildDebug},
                                                        {0x08, buildPrivate}, {0x28, buildPrivate},
                                                        {0x20, buildSpecial}, {0xD6, buildRelease}};
  for (const auto& [flags, build] : builds)
    CHECK(isUpToDate(Reply({1, 2, flags}), build, version, target));
  // A reply that does not fit counts as an empty one.
  session.behaviour.replies[Code].bytes = Reply({0, 0, 1, 0, 0, 0, 0});
  CHECK(IsDriverStateUpToDate(Device, Code, buildRelease, version, target));
  session.behaviour.replies[Code].error = 31;
  CHECK_THROWS_AS(IsDriverStateUpToDate(Device, Code, buildRelease, version, target), File::Exception);
  CHECK(session.behaviour.requests.back() == winsim::DeviceRequest{u"kvtesti", Code, {}});
  session.devices.Unload(u"kvtest");
  CHECK_FALSE(IsDriverStateUpToDate(Device, Code, buildUnknown, Any, Any));
}

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

  // The size fields have 16 bits.
  LUnicodeString longest;
  for (int length = 0; length < 32766; ++length)
    longest.Append(L'x');
  DriverLifeTime(longest, RemoteFile).AttachThroughDevice(0);
  CHECK(GetNumber(session.TakeRequest(), 10, 2) == 0xFFFE);
  CHECK(Thrown([&] { DriverLifeTime(longest + L'x', RemoteFile).AttachThroughDevice(0); }) ==
        "byteSize <= 0xFFFF");
  CHECK(Thrown([&] { DriverLifeTime(L"", RemoteFile).AttachThroughDevice(0); }) == "m_unique.Length() != 0");
  CHECK(session.behaviour.requests.empty());
}

TEST_CASE("a client without the right to write hands its request to the driver") {
  DriverSession session;
  winsim::Registry& registry = session.Machine().registry;
  DriverLifeTime client(L"id", RemoteFile);
  client.Attach(1);
  const std::string record = RegistryText(ServicePath);

  for (const wchar_t* const key : {ServicePath, RecordPath})
    registry.Deny(MachineText(key), KEY_WRITE);
  client.Attach(1);  // alive and not renewable: nothing to ask for
  CHECK(session.behaviour.requests.empty());
  session.Machine().clock.Advance(LifeTimeEntry::TimeToLive);
  client.Attach(1);
  CHECK(session.TakeRequest()[4] == 1);
  client.Detach();
  CHECK(session.TakeRequest().size() == 6);
  CHECK(RegistryText(ServicePath) == record);

  session.behaviour.otherCodes = 31;
  CHECK_THROWS_AS(client.Attach(1), RegistryKey::AccessDeniedException);
  session.devices.Unload(u"kvtest");
  CHECK_THROWS_AS(client.Detach(), RegistryKey::AccessDeniedException);
  struct : DriverLifeTime {
    using DriverLifeTime::DriverLifeTime;
    void AttachThroughDevice(unsigned int) override { throw BaseObject::UsageConflictException(L_HERE); }
  } conflicting(L"id", RemoteFile);
  CHECK_THROWS_AS(conflicting.Attach(1), BaseObject::UsageConflictException);
  registry.DeleteTree(MachineText(ServicePath));
  CHECK_THROWS_AS(client.Attach(1), BaseLifeTime::ObjectNotFoundException);
}
