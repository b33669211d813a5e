#include "components/DriverCatalogue.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <stdexcept>

#include "support/ImageSigner.h"
#include "support/Lines.h"
#include "support/ManagedMachine.h"
#include "support/SystemSession.h"
#include "support/TestContainer.h"
#include "support/Throws.h"
#include "system/File.h"

using namespace DriverManagement;
using namespace DriverManagement::Gen4;
using LCommon::System::File;
using winsim::Settings;

namespace {

using Container = LPtrRef<BasePeModuleContainer>;

struct Client {
  const wchar_t* unique = nullptr;
  const wchar_t* file = nullptr;
};

template <class Manager, class LifeTime, unsigned int... Mode>
LPtrRef<BaseLegacyDriver> Build(Container container, Client client) {
  return LMakeRef<Manager>(container, LMakeRef<LifeTime>(client.unique, client.file), Mode...);
}

struct Driver {
  std::string name;
  std::string displayName;
  std::string group;
  std::uint32_t stateCode;
  bool starts;
  LPtrRef<BaseLegacyDriver> (*build)(Container container, Client client);
};

const Driver Drivers[] = {
    {"kvlnk03", "Korvane Protection Synchronization Driver (version 3.x)", "System Bus Extender", 0x92012400,
     false, Build<kvlnk03sys::Manager, kvlnk03sys::LifeTime, 0>},
    {"kvlnk04", "Korvane Protection Synchronization Driver (version 4.x)", "Boot Bus Extender", 0x92012400,
     false, Build<WinNT::kvlnk04::Manager, WinNT::kvlnk04::LifeTime, 0>},
    {"kvvol02", "Korvane Protection VFS Driver (version 2.x)", "", 0x89082400, true,
     Build<kvvol02sys::Manager, kvvol02sys::LifeTime>},
    {"kvaux02", "Korvane Protection Helper Driver (version 2.x)", "", 0x90012400, true,
     Build<kvaux02sys::Manager, kvaux02sys::LifeTime>},
    {"kvenv01", "Korvane Protection Environment Driver (version 1.x)", "", 0x91012400, true,
     Build<kvenv01sys::Manager, kvenv01sys::LifeTime>},
    {"kvenv01a", "Korvane Protection Environment Driver (version 1.x.a)", "", 0x91012400, true,
     Build<WinNT::kvenv01a::Manager, WinNT::kvenv01a::LifeTime>},
};

// A machine for one driver, as an installer with the driver's image sees it.
struct DriverSession : SystemSession {
  explicit DriverSession(const Driver& tested, Settings settings = Settings::Windows10())
      : SystemSession(std::move(settings)),
        driver(tested),
        name(winsim::FromUtf8(driver.name)),
        behaviour(machine.devices.Behaviour(name)),
        container(LMakeRef<TestContainer>()),
        manager(driver.build(container, {L"client", L"C:\\Windows"})) {
    InstallWindowsKeys(machine);
  }

  winsim::Machine& machine = Machine();
  const Driver& driver;
  const std::u16string name;
  winsim::DriverBehaviour& behaviour;
  const LPtrRef<TestContainer> container;
  const LPtrRef<BaseLegacyDriver> manager;

  // As a start of the system does it.
  void Load() { REQUIRE(machine.devices.Load(name, ImagePath(machine, name)) == 0); }
};

// What the installation of a driver adds to a machine.
Lines InstallationOf(const Driver& driver) {
  const std::string services = "+ HKLM\\System\\CurrentControlSet\\Services\\";
  const std::string entry = services + driver.name;
  const std::string client = entry + "\\LifeTime\\client";
  const std::string source = services + "Eventlog\\System\\" + driver.name;
  Lines lines = {
      "+ C:\\Windows\\system32\\drivers\\" + driver.name + ".sys",
      entry,
      entry + " : DisplayName = 1:" + driver.displayName,
      entry + " : ErrorControl = 4: 1 0 0 0",
      entry + " : ImagePath = 2:system32\\drivers\\" + driver.name + ".sys",
      entry + " : Start = 4: 0 0 0 0",
      entry + " : Type = 4: 1 0 0 0",
      entry + "\\LifeTime",
      entry + "\\LifeTime : Auto = 4: 1 0 0 0",
      client,
      client + " : File = 1:C:\\Windows",
      client + " : Mode = 4: 0 0 0 0",
      source,
      source + " : EventMessageFile = 2:%SystemRoot%\\system32\\drivers\\" + driver.name + ".sys",
      source + " : TypesSupported = 4: 7 0 0 0",
  };
  if (!driver.group.empty()) lines.push_back(entry + " : Group = 1:" + driver.group);
  std::sort(lines.begin(), lines.end());
  return lines;
}

std::string Opening(LPtrRef<BaseLegacyDriver> manager) {
  const auto openable = LDynamicCast<BaseOpenable>(manager);
  if (!openable.Valid()) return "cannot be opened";
  const auto open = [&] {
    if (!openable->Open()->IsValid()) throw std::runtime_error("opened nothing");
  };
  const std::string thrown = Thrown(open);
  return thrown.find(" with ") == thrown.npos && thrown != "nothing" ? thrown + " in " + ThrownIn(open)
                                                                     : thrown;
}

}  // namespace

TEST_CASE("an installed driver has its image, entry, log source and claim, and nothing else is touched") {
  for (const Driver& driver : Drivers) {
    CAPTURE(driver.name);
    DriverSession session(driver);
    const Lines before = Snapshot(session.machine);
    CHECK(session.manager->Install(1) ==
          (driver.starts ? BaseObject::installDone : BaseObject::installDoneReboot));
    CHECK(Changes(before, Snapshot(session.machine)) == InstallationOf(driver));
    CHECK(session.machine.files.Read(ImagePath(session.machine, session.name)) == session.container->body);
    CHECK(session.machine.devices.IsLoaded(session.name) == driver.starts);
    CHECK(session.Trace("StartServiceW").size() == driver.starts);
  }
}

TEST_CASE("a loaded driver is asked for its state, and told about clients, at its interface device") {
  for (const Driver& driver : Drivers) {
    CAPTURE(driver.name);
    DriverSession session(driver);
    TestContainer& expected = *session.container;
    CHECK(session.manager->IsActive() == 0);
    CHECK(session.manager->IsActiveUpToDate() == 0);
    session.machine.files.WriteFile(ImagePath(session.machine, session.name), "MZ");
    session.Load();
    session.machine.gate.StartTrace();
    CHECK(session.manager->IsActive() == 1);
    CHECK(session.Trace().front() == "CreateFileW(\"\\\\.\\" + driver.name + "i\", 0x80000000, 7, 3, 0)");
    CHECK(session.behaviour.requests.empty());

    session.behaviour.replies[driver.stateCode].bytes = {1, 0, 0, 0, 2, 0, 0, 0, 0, 0,
                                                         0, 0, 6, 0, 0, 0, 1, 0, 0, 0};
    const auto isAsExpected = [&] { return session.manager->IsActiveUpToDate(); };
    expected.buildType = buildRelease;
    expected.version = MajorMinorVersion(1, 2);
    expected.osVersion = MajorMinorVersion(6, 1);
    CHECK(isAsExpected() == 1);
    expected.buildType = buildDebug;
    CHECK(isAsExpected() == 0);
    const winsim::DeviceRequest request = {session.name + u"i", driver.stateCode, {}};
    CHECK(session.behaviour.requests == std::vector(2, request));

    // A client that may not write the record.
    InstallDriver(session.machine, session.name);
    for (const char16_t* const key : {u"", u"\\LifeTime"})
      session.machine.registry.Deny(ServiceKey(session.name) + key, KEY_WRITE);
    session.behaviour.requests.clear();
    session.behaviour.replies[0] = {};
    session.manager->Touch();
    CHECK(session.behaviour.requests.back().device == session.name + u"i");
    CHECK(session.behaviour.requests.back().code == 0);
  }
}

TEST_CASE("a driver's refusals to be opened are told apart, those that it does not know pass") {
  constexpr std::uint32_t codes[] = {0, 0xE0000001, 0xE0000002, 0xE0000003, 0xE0000004, 5};
  const auto refusals = [](const std::string& manager, bool tellsConflicts) {
    const std::string location =
        " in class LPtrRef<class LCommon::System::Handle> __cdecl DriverManagement::Gen4::" + manager +
        "::Manager::Open(void)";
    return Lines{"nothing",
                 Exactly<BaseObject::IncompatibleOsException>() + location,
                 Exactly<File::Exception>(0xE0000002),
                 tellsConflicts ? Exactly<BaseObject::UsageConflictException>() + location
                                : Exactly<File::Exception>(0xE0000003),
                 Exactly<BaseObject::SafeModeDetectedException>() + location,
                 Exactly<File::AccessDeniedException>(5)};
  };
  const Lines none(std::size(codes), "cannot be opened");
  const Lines expected[] = {none, refusals("WinNT::kvlnk04", false), none,
                            none, refusals("kvenv01sys", true),      refusals("WinNT::kvenv01a", true)};
  for (std::size_t index = 0; index < std::size(Drivers); ++index) {
    DriverSession session(Drivers[index]);
    session.machine.files.WriteFile(ImagePath(session.machine, session.name), "MZ");
    session.Load();
    Lines outcomes;
    for (const std::uint32_t code : codes) {
      session.behaviour.openErrors[session.name] = code;
      outcomes.push_back(Opening(session.manager));
    }
    CHECK(outcomes == expected[index]);
  }
}

TEST_CASE("an image that must carry a signature is up to date when it has a valid one") {
  using Bytes = std::vector<unsigned char>;
  Settings olderForPrograms = Settings::Windows2000();
  olderForPrograms.reportedVersion = Settings::WindowsNt4().version;
  const struct {
    Settings settings;
    unsigned int mode;
    bool asked;
  } cases[] = {
      {Settings::Windows10(), 0, false},
      {Settings::Windows2000(), 1, true},
      {olderForPrograms, 1, true},
      {Settings::WindowsNt4(), 1, false},
  };
  for (const auto& item : cases) {
    CAPTURE(item.settings.version.major);
    CAPTURE(item.mode);
    SystemSession session(item.settings);
    winsim::Machine& machine = session.Machine();
    const auto container = LMakeRef<TestContainer>();
    kvlnk03sys::Module third(container, item.mode);
    WinNT::kvlnk04::Module fourth(container, item.mode);
    const auto areUpToDate = [&](const Bytes& image) {
      machine.files.WriteFile(ImagePath(machine, u"kvlnk03"), image);
      machine.files.WriteFile(ImagePath(machine, u"kvlnk04"), image);
      const unsigned int answer = third.IsInstalledUpToDate();
      CHECK(fourth.IsInstalledUpToDate() == answer);
      return answer;
    };
    CHECK(third.IsInstalledUpToDate() == 0);
    CHECK(fourth.IsInstalledUpToDate() == 0);

    Bytes image = BuildImage({.signatureSection = true});
    SignImage(image);
    machine.gate.StartTrace();
    CHECK(areUpToDate(image) == 1);
    // The version, the target system and, where it is asked for, the signature are looked at.
    CHECK(session.Trace("MapViewOfFile").size() == (item.asked ? 8 : 6));

    const unsigned int withoutSignature = !item.asked;
    CHECK(areUpToDate(BuildImage({})) == withoutSignature);
    Bytes unaligned = image;
    PutNumber(unaligned, ImageOptionalHeader + 36, 4, 1);
    CHECK(areUpToDate(unaligned) == withoutSignature);
    PutNumber(image, ImageOptionalHeader + 16, 4, 0x1001);  // the entry point
    CHECK(areUpToDate(image) == withoutSignature);
  }
}

TEST_CASE("the drivers that the removal builds do call by call what those of the named families do") {
  struct Family : BaseIndependedComplexObject {
    LPtrRef<BaseLegacyDriver> At(unsigned int index) {
      return LDynamicCast<BaseLegacyDriver>(m_objects[index]);
    }
  };
  using Stop = winsim::DriverBehaviour::Stop;
  using Operation = unsigned int (*)(BaseLegacyDriver&);
  constexpr Operation operations[] = {
      [](BaseLegacyDriver& driver) -> unsigned int { return driver.IsInstalled(); },
      [](BaseLegacyDriver& driver) -> unsigned int { return driver.IsExpired(); },
      [](BaseLegacyDriver& driver) -> unsigned int { return driver.IsActive(); },
      [](BaseLegacyDriver& driver) -> unsigned int { return driver.Purge(1); },
      [](BaseLegacyDriver& driver) -> unsigned int { return driver.Start(); },
      [](BaseLegacyDriver& driver) -> unsigned int { return driver.Stop(); },
      [](BaseLegacyDriver& driver) -> unsigned int { return driver.Uninstall(1); }};
  // What a driver does on a machine of its own.
  const auto calls = [&](const Settings& settings, Stop stop, bool claimed, std::uint32_t openError,
                         bool named, unsigned int index) {
    DriverSession session(Drivers[index], settings);
    InstallDriver(session.machine, session.name);
    if (claimed) ClaimByTime(session.machine, session.name, u"client", session.machine.clock.Now());
    session.Load();
    session.behaviour.stop = stop;
    session.behaviour.openErrors[session.name + u"i"] = openError;
    Family family;
    if (!named) ProjectSpecific::AddDriverManagers(family);
    for (const Driver& driver : Drivers) {
      if (named) family.Add(driver.build(LMakeRef<NullPeModuleContainer>(), {}));
    }
    session.machine.gate.StartTrace();
    Lines lines;
    for (const Operation operation : operations) {
      unsigned int result = 99;
      const std::string thrown = Thrown([&] { result = operation(*family.At(index)); });
      lines.push_back(thrown + std::to_string(result));
    }
    for (const std::string& call : session.Trace())
      lines.push_back(call);
    return lines;
  };
  for (const Settings& settings :
       {Settings::Windows10(), Settings::Windows10Wow64(), Settings::WindowsNt4()}) {
    for (const auto& [stop, claimed, openError] :
         {std::tuple(Stop::stops, false, 0u), std::tuple(Stop::refuses, false, 0u),
          std::tuple(Stop::staysPending, false, 0u), std::tuple(Stop::stops, true, 0u),
          std::tuple(Stop::stops, false, 5u)}) {
      for (unsigned int index = 0; index < std::size(Drivers); ++index) {
        CHECK(calls(settings, stop, claimed, openError, false, index) ==
              calls(settings, stop, claimed, openError, true, index));
      }
    }
  }
}
