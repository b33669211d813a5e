#include <doctest/doctest.h>

#include <tuple>

#include "support/MachineSession.h"

TEST_CASE("drivers load by start type, then group, then name") {
  const auto machine = MakeMachine();
  machine->registry.SetValue(u"System\\CurrentControlSet\\Control\\ServiceGroupOrder", u"List",
                             winsim::RegistryValue::Strings({u"Boot Bus Extender", u"System Bus Extender"}));
  constexpr const char16_t* Boot = u"Boot Bus Extender";
  const std::tuple<const char16_t*, std::uint32_t, const char16_t*> drivers[] = {
      {u"a0", 0, u""},  {u"b0", 0, u"system bus extender"},
      {u"c0", 0, Boot}, {u"e0", 0, u"Unlisted"},
      {u"d0", 0, Boot}, {u"h3", 3, u"Unlisted"},
      {u"f2", 2, Boot}, {u"g1", 1, u"Unlisted"}};
  for (const auto& [name, start, group] : drivers) {
    winsim::ServiceConfig config;
    config.type = winsim::ServiceConfig::KernelDriver;
    config.start = start;
    config.group = group;
    machine->services.Add(name, config);
  }
  std::string order;
  for (const std::u16string& name : machine->services.DriversInLoadOrder()) {
    order += winsim::ToUtf8(name) + " ";
  }
  CHECK(order == "c0 d0 b0 a0 e0 g1 f2 ");
}
