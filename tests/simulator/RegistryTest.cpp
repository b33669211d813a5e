#include <doctest/doctest.h>

#include "support/MachineSession.h"

using winsim::ToUtf8;

TEST_CASE("subkeys are listed in the order of names, also while keys come and go") {
  MachineSession session;
  winsim::Registry& registry = session.Machine().registry;
  winsim::RegistryNode& node = registry.Make(u"A");
  for (const char16_t* const name : {u"b", u"_x", u"A", u"a0", u"C"}) {
    registry.MakeChild(node, name);
  }
  const auto listed = [&] {
    std::string names;
    for (std::size_t index = 0; node.ChildAt(index) != nullptr; ++index) {
      names += ToUtf8(node.ChildAt(index)->Name()) + " ";
    }
    return names;
  };
  CHECK(listed() == "A a0 b C _x ");

  // The place of the last answer moves along with every change, whichever key it is on.
  const auto expectOrder = [&] {
    std::size_t index = 0;
    for (const auto& [expected, child] : node.Children()) {
      CHECK(ToUtf8(node.ChildAt(index++)->Name()) == ToUtf8(expected));
    }
    CHECK(node.ChildAt(index) == nullptr);
  };
  std::vector<std::u16string> names;
  for (unsigned int i = 0; i < 60; ++i) {
    const std::u16string added = {static_cast<char16_t>(u'a' + i * 7 % 26),
                                  static_cast<char16_t>(u'0' + i % 7)};
    node.ChildAt(i * 5 % node.Children().size());
    registry.MakeChild(node, added);
    names.push_back(added);
    expectOrder();
  }
  for (std::size_t i = 0; i < names.size(); ++i) {
    node.ChildAt(i * 11 % node.Children().size());
    registry.DeleteTree(u"A\\" + names[i]);
    expectOrder();
  }
  CHECK(listed() == "A b C _x ");
}
