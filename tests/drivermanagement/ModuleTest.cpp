#include "drivermanagement/Module.h"

#include <doctest/doctest.h>

#include "drivermanagement/PeTarget.h"
#include "support/SystemSession.h"
#include "support/TestContainer.h"
#include "support/TestFile.h"
#include "support/Throws.h"

using namespace DriverManagement;
using LCommon::System::AppendBackslash;
using LCommon::System::FileMappingView;
using LCommon::System::Manager;

namespace {

constexpr std::uint64_t Version1234 = 0x0001'0002'0003'0004;

using Bytes = std::vector<unsigned char>;

}  // namespace

TEST_CASE("a module is up to date when its version and target meet the container's facts") {
  SystemSession session;
  const TestFile file;
  const auto container = LMakeRef<TestContainer>();
  BasePeModule module(file.name, container);
  const std::uint64_t os61 = MajorMinorVersion(6, 1), os62 = MajorMinorVersion(6, 2);
  for (const bool plus : {false, true}) {
    const auto version = [&](std::uint64_t installed, std::uint32_t flags, std::uint64_t expected,
                             BuildType build) {
      file.Write(BuildImage({.plus = plus, .version = ImageVersion{installed, flags}}));
      container->version = expected;
      container->buildType = build;
      return module.IsInstalledUpToDate();
    };
    CHECK(version(Version1234, 0, Version1234 - 1, buildUnknown) == 1);
    CHECK(version(Version1234, 0, Version1234 + 1, buildUnknown) == 0);
    CHECK(version(0x0002'0000'0000'0000, 0, Version1234, buildRelease) == 1);
    CHECK(version(Version1234, 0x01, Version1234, buildRelease) == 0);
    CHECK(version(Version1234, 0x01, Version1234, buildUnknown) == 1);
    CHECK(version(Version1234, 0x28, Version1234, buildPrivate) == 1);
    CHECK(version(Version1234, 0x20, Version1234, buildPrivate) == 0);
    CHECK(version(Version1234, 0x02, Version1234, buildRelease) == 1);
    CHECK(version(0, 0, UnspecifiedVersion, buildUnknown) == 1);

    const auto target = [&](std::uint16_t machine, std::uint16_t osMinor, Manager::MachineType expected,
                            std::uint64_t os) {
      file.Write(BuildImage({.plus = plus, .machine = machine, .osMajor = 6, .osMinor = osMinor}));
      container->machine = expected;
      container->osVersion = os;
      return module.IsInstalledUpToDate();
    };
    CHECK(target(0x8664, 1, Manager::machineAmd64, os61) == 1);
    CHECK(target(0x8664, 1, Manager::machineI386, os61) == 0);
    CHECK(target(0x14C, 1, Manager::machineI386, UnspecifiedVersion) == 1);
    CHECK(target(0x200, 1, Manager::machineIa64, UnspecifiedVersion) == 1);
    CHECK(target(0x200, 1, Manager::machineNotSpecified, os61) == 1);
    CHECK(target(0xAA64, 1, Manager::machineNotSpecified, UnspecifiedVersion) == 0);
    CHECK(target(0x8664, 1, Manager::machineAmd64, os62) == 0);
    CHECK(target(0x8664, 2, Manager::machineAmd64, os61) == 0);
  }
}

TEST_CASE("headers that are malformed or cut short tell no target") {
  SystemSession session;
  const TestFile file;
  const auto target = [&](const Bytes& image) -> std::string {
    file.Write(image);
    try {
      const auto found = ReadPeTarget(file.name);
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
    const std::pair<std::size_t, Bytes> patches[] = {
        {0, {'Z', 'M'}},
        {60, {0, 0, 1, 0}},
        {60, {0xFF, 0xFF, 0xFF, 0xFF}},
        {60, {0xE6, 0xFF, 0xFF, 0xFF}},
        {ImagePeOffset, {'P', 'E', 0, 1}},
        {ImagePeOffset + 4, {0, 0}},
        {ImagePeOffset + 20, {static_cast<unsigned char>(plus ? 111 : 95), 0}},
        {ImagePeOffset + 24, {0x07, 0x01}}};
    for (const auto& [offset, bytes] : patches) {
      Bytes bad = good;
      std::copy(bytes.begin(), bytes.end(), bad.begin() + static_cast<std::ptrdiff_t>(offset));
      CHECK(target(bad) == "none");
    }
  }
}

TEST_CASE(
    "a module without a readable version resource is not up to date, and nothing is asked of its container") {
  SystemSession session;
  const TestFile file;
  BasePeModule module(file.name, LMakeRef<NullPeModuleContainer>());
  CHECK(module.IsInstalledUpToDate() == 0);
  for (const Bytes& image : {Bytes(), Bytes(50, 'M'), BuildImage({.version = std::nullopt})}) {
    file.Write(image);
    CHECK(module.IsInstalledUpToDate() == 0);
  }
  file.Write(BuildImage({}));
  CHECK(Thrown([&] { module.IsInstalledUpToDate(); }) == "Unreachable point");
  BasePeModule without(file.name, nullptr);
  CHECK(Thrown([&] { without.IsInstalledUpToDate(); }) == "container.Valid()");
  CHECK(module.Remove(1) == BaseObject::removeDone);
  CHECK(without.IsInstalledUpToDate() == 0);
}

TEST_CASE("modules lie in the directory of their kind and are installed only when they differ") {
  SystemSession session;
  const auto container = LMakeRef<TestContainer>(BuildImage({.version = ImageVersion{Version1234, 0}}));
  container->version = Version1234;
  const auto driver = LMakeRef<BaseDriverModule>(L"kvdel01 test.sys", container);
  const auto system = LMakeRef<BaseSystemModule>(L"kvdel01 test.sys", container);
  const auto check = [&](BaseObject& module, LUnicodeString directory) {
    const TestFile file(AppendBackslash(directory) + L"kvdel01 test.sys");
    container->bodiesAsked = 0;
    CHECK(module.Install(1) == BaseObject::installDone);
    CHECK(file.Read() == container->body);
    CHECK(module.Install(1) == BaseObject::installUpToDate);
    CHECK(container->bodiesAsked == 1);
    file.Write(BuildImage({.version = ImageVersion{Version1234 - 1, 0}}));
    CHECK(module.Install(1) == BaseObject::installUpdated);
    CHECK(file.Read() == container->body);
  };
  check(*driver, Manager::Instance().GetDriversDirectory());
  check(*system, Manager::Instance().GetSystemDirectoryA());
}
