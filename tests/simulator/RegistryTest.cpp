#include <doctest/doctest.h>
#include <windows.h>

#include "support/MachineSession.h"

using winsim::Bytes;
using winsim::FromWide;
using winsim::ToUtf8;

namespace {

/// An open key that is closed at the end of the scope.
struct Key {
  explicit Key(const wchar_t* path, REGSAM access = KEY_ALL_ACCESS) {
    REQUIRE(RegCreateKeyExW(HKEY_LOCAL_MACHINE, path, 0, nullptr, 0, access, nullptr, &handle, nullptr) == 0);
  }
  ~Key() { CHECK(RegCloseKey(handle) == 0); }
  HKEY handle = nullptr;
};

std::vector<std::string> Children(HKEY key) {
  std::vector<std::string> names;
  wchar_t name[256];
  for (DWORD index = 0;; ++index) {
    DWORD length = 256;
    const LSTATUS error = RegEnumKeyExW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr);
    if (error != 0) {
      CHECK(error == ERROR_NO_MORE_ITEMS);
      return names;
    }
    CHECK(name[length] == 0);
    names.push_back(ToUtf8(FromWide(name)));
  }
}

/// What a query for a value's data says: result, size afterwards and the bytes of a buffer that held 0xEE
/// before.
struct Answer {
  LSTATUS error;
  DWORD size;
  Bytes buffer;
  bool operator==(const Answer&) const = default;
};

Answer Query(HKEY key, const wchar_t* name, DWORD room) {
  Answer answer{0, room, Bytes(room, 0xEE)};
  answer.error = RegQueryValueExW(key, name, nullptr, nullptr, answer.buffer.data(), &answer.size);
  return answer;
}

}  // namespace

TEST_CASE("a deleted key's handle is of no use, also when a key of that name is there again") {
  MachineSession session;
  winsim::Registry& registry = session.Machine().registry;
  registry.Make(u"A\\Leaf\\Child");
  const Key leaf(L"A\\Leaf");
  CHECK(RegDeleteKeyW(HKEY_LOCAL_MACHINE, L"A\\Leaf") == ERROR_ACCESS_DENIED);
  CHECK(RegDeleteKeyW(leaf.handle, L"child") == 0);
  CHECK(RegDeleteKeyW(HKEY_LOCAL_MACHINE, L"a\\leaf") == 0);
  registry.Make(u"A\\Leaf");
  const BYTE byte = 1;
  HKEY key = nullptr;
  for (const LSTATUS error :
       {RegSetValueExW(leaf.handle, L"x", 0, REG_BINARY, &byte, 1), Query(leaf.handle, L"x", 4).error,
        RegOpenKeyExW(leaf.handle, L"Sub", 0, KEY_READ, &key), RegDeleteKeyW(leaf.handle, L""),
        RegDeleteValueW(leaf.handle, L"x")}) {
    CHECK(error == ERROR_KEY_DELETED);
  }
}

TEST_CASE("values are given out by the rules of RegQueryValueEx") {
  MachineSession session;
  winsim::Registry& registry = session.Machine().registry;
  const Key key(L"A");
  // "ab" in UTF-16 with and without terminator, half a unit.
  registry.SetValue(u"A", u"Ended", {REG_SZ, {'a', 0, 'b', 0, 0, 0}});
  registry.SetValue(u"A", u"Open", {REG_SZ, {'a', 0, 'b', 0}});
  registry.SetValue(u"A", u"Odd", {REG_EXPAND_SZ, {'a', 0, 'b'}});
  registry.SetValue(u"A", u"Euro", {REG_MULTI_SZ, {0xAC, 0x20, 0, 0, 0, 0}});
  registry.SetValue(u"A", u"Raw", {REG_BINARY, {'a', 0, 'b', 0}});
  registry.SetValue(u"A", u"", {0xFFFF0007, {1}});

  const auto expect = [&](const wchar_t* name, DWORD room, const Answer& answer) {
    CHECK(Query(key.handle, name, room) == answer);
  };
  expect(L"ended", 6, {0, 6, {'a', 0, 'b', 0, 0, 0}});
  expect(L"ended", 5, {ERROR_MORE_DATA, 6, Bytes(5, 0xEE)});
  expect(L"open", 4, {0, 4, {'a', 0, 'b', 0}});
  expect(L"open", 7, {0, 4, {'a', 0, 'b', 0, 0, 0, 0xEE}});
  expect(L"odd", 8, {0, 3, {'a', 0, 'b', 0, 0, 0xEE, 0xEE, 0xEE}});
  expect(L"raw", 6, {0, 4, {'a', 0, 'b', 0, 0xEE, 0xEE}});
  expect(nullptr, 2, {0, 1, {1, 0xEE}});
  expect(L"missing", 2, {ERROR_FILE_NOT_FOUND, 2, Bytes(2, 0xEE)});

  DWORD type = 99, size = 99;
  CHECK(RegQueryValueExW(key.handle, L"Euro", nullptr, &type, nullptr, &size) == 0);
  CHECK((type == REG_MULTI_SZ && size == 6));
  CHECK(RegQueryValueExW(key.handle, L"missing", nullptr, nullptr, nullptr, &size) == ERROR_FILE_NOT_FOUND);
  CHECK(size == 0);
}

TEST_CASE("subkeys are listed in the order of names, also while keys come and go") {
  MachineSession session;
  winsim::Registry& registry = session.Machine().registry;
  const Key key(L"A");
  for (const char16_t* const name : {u"b", u"_x", u"A", u"a0", u"C"}) {
    registry.MakeChild(registry.Make(u"A"), name);
  }
  using Names = std::vector<std::string>;
  CHECK(Children(key.handle) == Names{"A", "a0", "b", "C", "_x"});

  wchar_t name[4] = L"###";
  DWORD length = 2;
  FILETIME time{};
  const auto second = [&] {
    return RegEnumKeyExW(key.handle, 1, name, &length, nullptr, nullptr, nullptr, &time);
  };
  CHECK((second() == ERROR_MORE_DATA && length == 2 && name[0] == L'#'));
  length = 3;
  CHECK((second() == 0 && length == 2 && time.dwHighDateTime != 0));

  // The place of the last answer moves along with every change, whichever key it is on.
  winsim::RegistryNode& node = registry.Make(u"A");
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
  CHECK(Children(key.handle) == Names{"A", "b", "C", "_x"});
}
