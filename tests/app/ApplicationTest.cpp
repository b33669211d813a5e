#include "app/Application.h"

#include <doctest/doctest.h>

#include "app/Service.h"
#include "support/ManagedMachine.h"
#include "support/SystemSession.h"
#include "support/Throws.h"

using Main::Application;
using Main::Service;

namespace {

// The condition that `operation` reports as broken, and where.
std::string Report(void (*operation)()) {
  std::string function = "nowhere";
  const std::string condition = Thrown([&] {
    try {
      operation();
    } catch (const LBaseException& exception) {
      function = exception.Function();
      throw;
    }
  });
  return condition + " in " + function;
}

// Uses the only instance of `T` in the wrong order; its functions are called `name` in reports.
template <class T>
void CheckSingleton(const std::string& name) {
  const auto instance = [] { T::Instance(); };
  const std::string missing = "g_instance != 0 in ";
  CHECK(Report(instance) == missing + "class " + name + " &__cdecl " + name + "::Instance(void)");
  CHECK(Report(T::DeleteInstance) == missing + "void __cdecl " + name + "::DeleteInstance(void)");
  T::CreateInstance();
  const T* const first = &T::Instance();
  CHECK(Report(T::CreateInstance) == "g_instance == 0 in void __cdecl " + name + "::CreateInstance(void)");
  CHECK(&T::Instance() == first);
  T::DeleteInstance();
  CHECK(Report(instance) == missing + "class " + name + " &__cdecl " + name + "::Instance(void)");
}

}  // namespace

TEST_CASE("the application and the service host exist once, between their creation and deletion") {
  const SystemSession session;
  CheckSingleton<Application>("Main::Application");
  CheckSingleton<Service>("Main::Service");
}

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
  Application::DeleteInstance();
}
