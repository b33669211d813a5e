#include "drivermanagement/LegacyDeviceNode.h"

#include <doctest/doctest.h>

#include "support/SystemSession.h"
#include "system/WindowsApi.h"

using namespace DriverManagement;

namespace {

const std::u16string ClassesPath = u"System\\CurrentControlSet\\Control\\Class\\";

// The outcome with the last error behind it.
std::string Remove(const wchar_t* name) {
  SetLastError(77);
  const bool done = RemoveLegacyDeviceNode(name);
  return done ? "done" : "failed with " + std::to_string(GetLastError());
}

}  // namespace

TEST_CASE("only the first device node of the service goes, whatever the letter case") {
  SystemSession session;
  winsim::DeviceNodes& nodes = session.Machine().deviceNodes;
  nodes.AddLegacy(u"another");
  nodes.AddLegacy(u"DRV", u"0000");
  nodes.AddLegacy(u"DRV", u"0001");
  nodes.AddLegacy(u"drvother");
  CHECK(Remove(L"drv") == "done");
  CHECK(nodes.Instances(std::nullopt) == std::vector<std::u16string>{u"ROOT\\LEGACY_ANOTHER\\0000",
                                                                     u"ROOT\\LEGACY_DRV\\0001",
                                                                     u"ROOT\\LEGACY_DRVOTHER\\0000"});
  CHECK(Remove(L"drv") == "done");
  CHECK(nodes.Instances(std::nullopt).size() == 2);
}

TEST_CASE("every class of the name is searched, however many there are") {
  SystemSession session;
  winsim::Machine& machine = session.Machine();
  CHECK(Remove(L"drv") == "done");
  for (const char16_t digit : {u'1', u'2', u'3', u'4', u'5', u'6', u'7'}) {
    const std::u16string classId = std::u16string(u"{00000000-0000-0000-0000-00000000000") + digit + u"}";
    machine.registry.SetString(ClassesPath + classId, u"Class", u"LegacyDriver");
  }
  machine.deviceNodes.AddLegacy(u"drv");  // of the class that is last in order
  machine.gate.StartTrace();
  CHECK(Remove(L"drv") == "done");
  CHECK(machine.deviceNodes.Instances(std::nullopt).empty());
  CHECK(session.Trace("SetupDiClassGuidsFromNameW").size() == 2);
  CHECK(session.Trace("SetupDiDestroyDeviceInfoList").size() == 8);
}

TEST_CASE("a failing search changes nothing and keeps the error") {
  SystemSession session;
  winsim::Machine& machine = session.Machine();
  machine.deviceNodes.AddLegacy(u"before");
  machine.deviceNodes.AddLegacy(u"drv");
  const std::pair<const char*, std::uint32_t> cases[] = {{"SetupDiClassGuidsFromNameW", 8},
                                                         {"SetupDiClassGuidsFromNameW", 122},
                                                         {"SetupDiGetClassDevsW", 5},
                                                         {"SetupDiGetDeviceRegistryPropertyW", 13},
                                                         {"SetupDiCallClassInstaller", 5}};
  for (const auto& [function, error] : cases) {
    machine.gate.FailFunction(function, error);
    machine.gate.FailFunction("SetupDiDestroyDeviceInfoList", 6);  // releasing has an error of its own
    CHECK(Remove(L"drv") == "failed with " + std::to_string(error));
    machine.gate.Restore();
    session.Process().handles.CloseAll();
    CHECK(machine.deviceNodes.Instances(std::nullopt).size() == 2);
  }
  // A device without a service ends the search before the one that is looked for.
  machine.registry.Find(u"System\\CurrentControlSet\\Enum\\ROOT\\LEGACY_BEFORE\\0000")
      ->values.erase(u"Service");
  CHECK(Remove(L"drv").starts_with("failed"));
  CHECK(machine.deviceNodes.Instances(std::nullopt).size() == 2);
}

TEST_CASE("without setup functions nothing can be removed") {
  winsim::Settings settings;
  settings.missingModules.insert(u"setupapi.dll");
  SystemSession session(settings);
  CHECK(Remove(L"drv") == "failed with 120");
}
