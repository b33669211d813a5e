#include "drivermanagement/Module.h"

#include <doctest/doctest.h>

#include <functional>
#include <optional>

#include "drivermanagement/PeTarget.h"
#include "support/FailedCondition.h"
#include "support/SystemSession.h"
#include "support/TestContainer.h"
#include "system/FileMapping.h"

using namespace DriverManagement;
using LCommon::System::FileMappingView;
using LCommon::System::Manager;

namespace {

constexpr const char16_t* DriverPath = u"C:\\Windows\\system32\\drivers\\drv.sys";
constexpr std::uint64_t Version1234 = 0x0001'0002'0003'0004;

using Bytes = std::vector<unsigned char>;

ImageDescription Image(ImageVersion version, bool plus = true, std::uint16_t machine = 0x8664) {
  return {.plus = plus, .machine = machine, .osMajor = 6, .osMinor = 1, .version = version};
}

}  // namespace

TEST_CASE("a module is up to date when its version resource meets the container's facts") {
  SystemSession session;
  const struct {
    std::uint64_t installed;
    std::uint32_t flags;
    std::uint64_t expected;
    BuildType build;
    unsigned int upToDate;
  } cases[] = {
      {Version1234, 0, Version1234, buildUnknown, 1},
      {Version1234, 0, Version1234 - 1, buildUnknown, 1},
      {Version1234, 0, Version1234 + 1, buildUnknown, 0},
      {0x0002'0000'0000'0000, 0, Version1234, buildRelease, 1},
      {0, 0, UnspecifiedVersion, buildUnknown, 1},
      {Version1234, 0x01, Version1234, buildRelease, 0},
      {Version1234, 0x01, Version1234, buildUnknown, 1},
      {Version1234, 0x28, Version1234, buildPrivate, 1},
      {Version1234, 0x20, Version1234, buildPrivate, 0},
      {Version1234, 0x02, Version1234, buildRelease, 1},
  };
  for (const bool plus : {false, true}) {
    const auto container = LMakeRef<TestContainer>();
    BasePeModule module(SystemText(DriverPath), container);
    for (const auto& item : cases) {
      CAPTURE(item.installed);
      CAPTURE(item.flags);
      CAPTURE(item.expected);
      session.Machine().files.WriteFile(DriverPath, BuildImage(Image({item.installed, item.flags}, plus)));
      container->version = item.expected;
      container->buildType = item.build;
      CHECK(module.IsInstalledUpToDate() == item.upToDate);
    }
  }
}

TEST_CASE("an image is up to date when it targets the container's processor and system") {
  SystemSession session;
  const struct {
    std::uint16_t machine;
    std::uint16_t osMajor;
    std::uint16_t osMinor;
    Manager::MachineType expectedMachine;
    std::uint64_t expectedOs;
    unsigned int upToDate;
  } cases[] = {
      {0x8664, 6, 1, Manager::machineAmd64, MajorMinorVersion(6, 1), 1},
      {0x8664, 6, 1, Manager::machineI386, MajorMinorVersion(6, 1), 0},
      {0x14C, 6, 1, Manager::machineI386, UnspecifiedVersion, 1},
      {0x200, 6, 1, Manager::machineIa64, UnspecifiedVersion, 1},
      {0x200, 6, 1, Manager::machineNotSpecified, MajorMinorVersion(6, 1), 1},
      {0xAA64, 6, 1, Manager::machineNotSpecified, UnspecifiedVersion, 0},
      {0x8664, 6, 1, Manager::machineAmd64, MajorMinorVersion(6, 2), 0},
      {0x8664, 6, 2, Manager::machineAmd64, MajorMinorVersion(6, 1), 0},
  };
  for (const bool plus : {false, true}) {
    const auto container = LMakeRef<TestContainer>();
    BasePeModule module(SystemText(DriverPath), container);
    for (const auto& item : cases) {
      CAPTURE(item.machine);
      CAPTURE(item.expectedOs);
      session.Machine().files.WriteFile(
          DriverPath,
          BuildImage(
              {.plus = plus, .machine = item.machine, .osMajor = item.osMajor, .osMinor = item.osMinor}));
      container->machine = item.expectedMachine;
      container->osVersion = item.expectedOs;
      CHECK(module.IsInstalledUpToDate() == item.upToDate);
    }
  }
}

TEST_CASE("headers that are malformed or cut short tell no target") {
  SystemSession session;
  winsim::FileSystem& files = session.Machine().files;
  const auto target = [&](const Bytes& image) -> std::string {
    files.WriteFile(DriverPath, image);
    try {
      const auto found = ReadPeTarget(SystemText(DriverPath));
      return found ? std::to_string(found->machine) + " " + std::to_string(found->osVersion >> 32) : "none";
    } catch (const FileMappingView::Exception&) {
      return "view refused";
    }
  };
  for (const bool plus : {false, true}) {
    const Bytes good = BuildImage({.plus = plus, .osMajor = 1, .osMinor = 2});
    const std::size_t magicEnd = ImagePeOffset + 26;
    const std::size_t needed = magicEnd + (plus ? 112 : 96);
    for (std::size_t size = 0; size <= needed; ++size) {
      CAPTURE(size);
      const char* const expected = size == needed ? "2 65538" : size >= magicEnd ? "view refused" : "none";
      CHECK(target(Bytes(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size))) == expected);
    }
    const struct {
      std::size_t offset;
      Bytes bytes;
    } patches[] = {
        {0, {'Z', 'M'}},
        {60, {0, 0, 1, 0}},
        {60, {0xFF, 0xFF, 0xFF, 0xFF}},
        {60, {0xE6, 0xFF, 0xFF, 0xFF}},
        {ImagePeOffset, {'P', 'E', 0, 1}},
        {ImagePeOffset + 4, {0, 0}},
        {ImagePeOffset + 20, {static_cast<unsigned char>(plus ? 111 : 95), 0}},
        {ImagePeOffset + 24, {0x07, 0x01}},
    };
    for (const auto& patch : patches) {
      CAPTURE(patch.offset);
      Bytes bad = good;
      std::copy(patch.bytes.begin(), patch.bytes.end(),
                bad.begin() + static_cast<std::ptrdiff_t>(patch.offset));
      CHECK(target(bad) == "none");
    }
  }
}

TEST_CASE(
    "a module without a readable version resource is not up to date, and nothing is asked of its container") {
  SystemSession session;
  winsim::Machine& machine = session.Machine();
  BasePeModule module(SystemText(DriverPath), LMakeRef<NullPeModuleContainer>());
  CHECK(module.IsInstalledUpToDate() == 0);
  for (const Bytes& image : {Bytes(), Bytes(50, 'M'), BuildImage({.version = std::nullopt})}) {
    machine.files.WriteFile(DriverPath, image);
    CHECK(module.IsInstalledUpToDate() == 0);
  }
  machine.files.WriteFile(DriverPath, BuildImage({}));
  for (const char* const function : {"GetFileVersionInfoSizeA", "GetFileVersionInfoA", "VerQueryValueA"}) {
    machine.gate.FailFunction(function, 1812);
    CHECK(module.IsInstalledUpToDate() == 0);
  }
  CHECK(FailedCondition([&] { module.IsInstalledUpToDate(); }) == "Unreachable point");
  CHECK(FailedCondition([&] { module.Install(1); }) == "Unreachable point");
  CHECK(module.Remove(1) == BaseObject::removeDone);
}

TEST_CASE("modules lie in the directory of their kind and are installed only when they differ") {
  SystemSession session;
  winsim::FileSystem& files = session.Machine().files;
  const auto container = LMakeRef<TestContainer>(BuildImage({.version = ImageVersion{Version1234, 0}}));
  container->version = Version1234;
  const auto driver = LMakeRef<BaseDriverModule>(L"drv.sys", container);
  const auto system = LMakeRef<BaseSystemModule>(L"drv.sys", container);
  const struct {
    BaseObject& module;
    const char16_t* path;
  } cases[] = {{*driver, DriverPath}, {*system, u"C:\\Windows\\system32\\drv.sys"}};
  for (const auto& item : cases) {
    container->bodiesAsked = 0;
    CHECK(item.module.Update(1) == BaseObject::updateNotInstalled);
    CHECK(item.module.Install(1) == BaseObject::installDone);
    CHECK(files.Read(item.path) == container->body);
    CHECK(item.module.Install(1) == BaseObject::installUpToDate);
    CHECK(container->bodiesAsked == 1);
    files.WriteFile(item.path, BuildImage({.version = ImageVersion{Version1234 - 1, 0}}));
    CHECK(item.module.Install(1) == BaseObject::installUpdated);
    CHECK(files.Read(item.path) == container->body);
  }
}

TEST_CASE("a module without a container of its kind is asserted when it has a file to judge") {
  SystemSession session;
  BasePeModule module(SystemText(DriverPath), nullptr);
  CHECK(module.IsInstalledUpToDate() == 0);
  session.Machine().files.WriteFile(DriverPath, BuildImage({}));
  CHECK(FailedCondition([&] { module.IsInstalledUpToDate(); }) == "container.Valid()");
}

TEST_CASE("the empty container answers nothing and says which operation was asked") {
  NullPeModuleContainer container;
  const std::function<void()> questions[] = {[&] { container.GetBody(); },
                                             [&] { container.GetTime(); },
                                             [&] { container.GetBuildType(); },
                                             [&] { container.GetVersion(); },
                                             [&] { container.GetTargetMachineType(); },
                                             [&] { container.GetTargetOsVersion(); }};
  std::string functions;
  for (const auto& ask : questions) {
    CHECK(FailedCondition(ask) == "Unreachable point");
    try {
      ask();
    } catch (const LBaseException& report) {
      const std::string function = report.Function();
      functions += function.substr(function.rfind(':') + 1) + " ";
    }
  }
  CHECK(functions ==
        "GetBody(void) GetTime(void) GetBuildType(void) GetVersion(void) GetTargetMachineType(void) "
        "GetTargetOsVersion(void) ");
}
