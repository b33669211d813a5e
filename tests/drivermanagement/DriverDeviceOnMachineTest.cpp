#include "drivermanagement/DriverDevice.h"

#include <doctest/doctest.h>

#include "support/SystemSession.h"

using namespace DriverManagement;
using LCommon::System::File;

namespace {

constexpr const wchar_t* Device = L"\\\\.\\drvi";
constexpr std::uint32_t Code = 0x91012400;
constexpr std::uint64_t Any = UnspecifiedVersion;

struct DriverSession : SystemSession {
  winsim::Devices& devices = Machine().devices;
  winsim::DriverBehaviour& behaviour = devices.Behaviour(u"drv");

  DriverSession() {
    Machine().files.WriteFile(u"C:\\drv.sys", std::string_view("image"));
    REQUIRE(devices.Load(u"drv", u"C:\\drv.sys") == 0);
  }
};

winsim::Bytes Reply(std::initializer_list<std::uint32_t> numbers) {
  winsim::Bytes bytes;
  for (const std::uint32_t number : numbers) {
    for (int shift = 0; shift < 32; shift += 8)
      bytes.push_back(static_cast<std::uint8_t>(number >> shift));
  }
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
  for (const auto& reply :
       {Reply({1, 1, 0, 6, 1}), Reply({1, 2, 1, 6, 1}), Reply({1, 2, 0, 6, 2}), Reply({0, 0})})
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
  CHECK(session.behaviour.requests.back() == winsim::DeviceRequest{u"drvi", Code, {}});
  session.devices.Unload(u"drv");
  CHECK_FALSE(IsDriverStateUpToDate(Device, Code, buildUnknown, Any, Any));
}
