// With which rights the objects of the model open what they look at and change: one too many is refused to
// somebody, one too few fails behind the opening.

#include <doctest/doctest.h>

#include <utility>

#include "LifeTimeRecord.h"
#include "ServiceEntry.h"
#include "drivermanagement/DriverDevice.h"
#include "drivermanagement/File.h"
#include "drivermanagement/LogSource.h"
#include "drivermanagement/PeTarget.h"
#include "drivermanagement/RunningService.h"
#include "support/TestContainer.h"
#include "system/LogSource.h"

using namespace DriverManagement;

namespace {

// What the operation opened and the rights that it asked for; for a file also the others' share, the
// disposition and the attributes.
template <class Operation>
std::string Opened(SystemSession& session, Operation operation) {
  constexpr std::pair<const char*, const char*> kinds[] = {
      {"OpenSCManagerW", "manager"}, {"OpenServiceW", "service"},    {"CreateServiceW", "new service"},
      {"RegOpenKeyExW", "key"},      {"RegCreateKeyExW", "new key"}, {"CreateFileW", "file"}};
  session.Machine().gate.StartTrace();
  operation();
  std::string opened;
  for (const winsim::TraceEntry& call : session.Machine().gate.TakeTrace()) {
    for (const auto& [function, kind] : kinds) {
      if (call.function != function) continue;
      // The rights are the last argument, but a new service has its name, title and rights in front.
      std::string rights = call.arguments.substr(call.arguments.rfind(' ') + 1);
      if (call.function == "CreateServiceW") rights = call.arguments.substr(21, 7);
      if (call.function == "CreateFileW") rights = call.arguments.substr(call.arguments.find("\", ") + 3);
      opened += std::string(opened.empty() ? "" : "; ") + kind + " " + rights;
    }
  }
  return opened;
}

}  // namespace

TEST_CASE("everything is opened with the rights that its operation needs and no others") {
  RecordSession session;
  DeleteKey(ServicePath);
  const auto check = [&](const std::string& opened, auto operation) {
    CHECK(Opened(session, operation) == opened);
  };
  const auto registration = Registration({});
  check("manager 1; service 1; manager 1; service 0x100; manager 2; new service 0xF01FF; key 0x20006",
        [&] { registration->Install(0); });
  check("manager 1; service 1; manager 1; service 0x100; manager 1; service 2",
        [&] { Registration(FullEntry())->Install(0); });
  check("key 0x20019", [&] { registration->IsKeyExist(); });
  const TestFile image(InWindows(L"system32\\drivers\\kvtest.sys"));
  image.Write(std::string("image"));
  check("manager 1; service 0x10", [] { StartByName(L"kvtest"); });
  check("file 0x80000000, 7, 3, 0", [] { IsDeviceExist(L"\\\\.\\kvtesti"); });
  check("manager 1; service 0x20", [] { StopByName(L"kvtest", L_HERE); });

  const std::string find = "key 0x20019; key 0x20019; ";
  check(find + "key 0xF003F; new key 0xF003F; new key 0xF003F", [] { Client(RemoteFile).Attach(0); });
  check(find + "key 0x20019; key 0xF003F; key 0xF003F; key 0xF003F",
        [] { Client(RemoteFile).IsAlreadyAttached(); });
  check(find + "key 0x20019; key 0xF003F; key 0xF003F", [] { Client(RemoteFile).Detach(); });
  Client(LocalFile).Attach(1);
  check(find + "key 0x20019; key 0xF003F; key 0xF003F", [] { Driver().Purge(); });
  check("key 0x20019; key 0x20019", [] { Driver().IsExpired(); });
  check("manager 1; service 0x10000", [&] { registration->Remove(0); });

  BaseFile file(InWindows(L"kvtest.bin"), LMakeRef<TestContainer>());
  check("file 0xC0000000, 0, 2, 0x80", [&] { file.Deploy(); });
  check("file 0x80000000, 1, 3, 0", [&] { ReadPeTarget(InWindows(L"kvtest.bin")); });
  check("", [&] { file.Remove(0); });

  BaseLogSource source(L"System", L"kvtest", 0, 7, L"", L"x", L"");
  check("key 0x20006; new key 0x20006; new key 0x20006; key 0x20019",
        [] { LCommon::System::Log::Source::Create(L"System", L"kvtest", 0, 7, L"", L"x", L""); });
  check("key 0x20019; key 0x20019; key 0x20019", [&] { source.IsInstalledUpToDate(); });
  check("key 0x20006; key 0x20006; key 0xF003F", [&] { source.Remove(0); });
}
