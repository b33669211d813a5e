#include "app/Application.h"

#include <doctest/doctest.h>

#include "support/ManagedMachine.h"
#include "support/SystemSession.h"
#include "system/WindowsApi.h"

using Main::Application;

TEST_CASE("the removal check answers by its exit code and changes nothing") {
  SystemSession session(winsim::Settings::Windows10Wow64());
  winsim::Machine& machine = session.Machine();
  Application::CreateInstance();
  const auto check = [] { return Application::Instance().DoCanRemoveNow(); };
  CHECK(check() == 0);
  InstallDriver(machine, u"kvaux02");
  CHECK(check() == 0);
  ClaimByFile(machine, u"kvaux02", u"client", u"C:\\gone");
  const auto before = Snapshot(machine);
  CHECK(check() == 1);
  machine.registry.Deny(ServiceKey(u"kvlnk04"), KEY_READ);
  CHECK(check() == -1);
  CHECK(session.Trace("CreateMutexW").empty());
  CHECK(session.Trace("Wow64DisableWow64FsRedirection").size() == 4);
  CHECK_FALSE(session.Thread().redirectionDisabled);
  machine.registry.DeleteTree(ServiceKey(u"kvlnk04"));
  CHECK(Snapshot(machine) == before);
  machine.gate.FailFunction("Wow64RevertWow64FsRedirection", 1450);
  CHECK(check() == -1);
  Application::DeleteInstance();
}
