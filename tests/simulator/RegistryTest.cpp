#include <doctest/doctest.h>

#include "simulator/LastError.h"
#include "support/MachineSession.h"

using winsim::Bytes;
using winsim::FromWide;
using winsim::ToUtf8;

namespace {

constexpr HKEY BadKey = nullptr;

/// An open key that is closed at the end of the scope.
struct Key {
  explicit Key(const wchar_t* path, REGSAM access = KEY_ALL_ACCESS) {
    REQUIRE(RegCreateKeyExW(HKEY_LOCAL_MACHINE, path, 0, nullptr, 0, access, nullptr, &handle, nullptr) == 0);
  }
  ~Key() { CHECK(RegCloseKey(handle) == 0); }
  HKEY handle = nullptr;
};

/// The result of opening a key, which is closed at once.
LSTATUS Open(HKEY from, const wchar_t* path, REGSAM access = KEY_READ) {
  HKEY key = HKEY_CURRENT_USER;
  const LSTATUS error = RegOpenKeyExW(from, path, 0, access, &key);
  CHECK((error == 0 || from == BadKey || key == nullptr));
  return error == 0 ? RegCloseKey(key) : error;
}

LSTATUS Create(HKEY from, const wchar_t* path, DWORD* disposition = nullptr) {
  HKEY key = nullptr;
  const LSTATUS error =
      RegCreateKeyExW(from, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, disposition);
  if (error == 0) RegCloseKey(key);
  return error;
}

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

TEST_CASE("keys open, are made and go by the rules of the registry functions") {
  MachineSession session;
  winsim::Registry& registry = session.Machine().registry;
  registry.Make(u"A\\Leaf");
  registry.Make(u"A\\Full\\Child");
  SetLastError(Untouched);
  SUBCASE("opening") {
    CHECK(Open(HKEY_LOCAL_MACHINE, L"a\\LEAF\\") == 0);
    CHECK(Open(HKEY_LOCAL_MACHINE, L"Missing\\Leaf") == ERROR_FILE_NOT_FOUND);
    CHECK(Open(HKEY_CURRENT_USER, L"A") == ERROR_FILE_NOT_FOUND);
    CHECK(Open(HKEY_LOCAL_MACHINE, L"\\A") == ERROR_BAD_PATHNAME);
    CHECK(Open(BadKey, L"A") == ERROR_INVALID_HANDLE);
    HKEY key = nullptr;
    CHECK(RegOpenKeyExW(HKEY_LOCAL_MACHINE, nullptr, 0, KEY_READ, &key) == 0);
    CHECK(key == HKEY_LOCAL_MACHINE);
    CHECK(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "A\\Leaf", 0, KEY_READ, &key) == 0);
    CHECK((Open(key, nullptr) == 0 && RegCloseKey(key) == 0));
    CHECK(RegCloseKey(key) == ERROR_INVALID_HANDLE);
  }
  SUBCASE("making") {
    std::vector<wchar_t> name(256, L'x');
    name.push_back(0);
    DWORD disposition = 0;
    CHECK((Create(HKEY_LOCAL_MACHINE, L"New\\Sub", &disposition) == 0 && disposition == 1));
    CHECK((Create(HKEY_LOCAL_MACHINE, L"NEW\\sub", &disposition) == 0 && disposition == 2));
    CHECK(ToUtf8(registry.Find(u"new\\SUB")->Path()) == "HKLM\\New\\Sub");
    CHECK(Create(HKEY_LOCAL_MACHINE, nullptr) == ERROR_BADKEY);
    CHECK(Create(HKEY_LOCAL_MACHINE, name.data() + 1) == 0);
    CHECK(Create(HKEY_LOCAL_MACHINE, name.data()) == ERROR_INVALID_PARAMETER);
  }
  SUBCASE("deleting") {
    const Key parent(L"A");
    const Key leaf(L"A\\Leaf");
    CHECK(RegDeleteKeyW(parent.handle, L"Full") == ERROR_ACCESS_DENIED);
    CHECK(RegDeleteKeyW(parent.handle, L"leaf") == 0);
    CHECK(RegDeleteKeyW(parent.handle, L"leaf") == ERROR_FILE_NOT_FOUND);
    // The open handle is of no use any more, also when a key of that name is there again.
    registry.Make(u"A\\Leaf");
    const BYTE byte = 1;
    for (const LSTATUS error :
         {RegSetValueExW(leaf.handle, L"x", 0, REG_BINARY, &byte, 1), Query(leaf.handle, L"x", 4).error,
          Open(leaf.handle, L"Sub"), Create(leaf.handle, L"Sub"), RegDeleteKeyW(leaf.handle, L""),
          RegDeleteValueW(leaf.handle, L"x")}) {
      CHECK(error == ERROR_KEY_DELETED);
    }
  }
  CHECK(GetLastError() == Untouched);
}

TEST_CASE("a key refuses what it is said to refuse") {
  MachineSession session;
  winsim::Registry& registry = session.Machine().registry;
  registry.SetNumber(u"A\\Leaf", u"n", 7);
  const struct {
    REGSAM denied, access;
    LSTATUS opening;
  } cases[] = {{KEY_WRITE, KEY_READ, 0}, {KEY_WRITE, KEY_WRITE, 5}, {KEY_WRITE, KEY_ALL_ACCESS, 5},
               {KEY_READ, KEY_READ, 5},  {KEY_READ, KEY_WRITE, 0},  {KEY_READ, GENERIC_READ, 5}};
  for (const auto& test : cases) {
    CAPTURE(&test - cases);
    registry.Deny(u"A", test.denied);
    CHECK(Open(HKEY_LOCAL_MACHINE, L"A", test.access) == test.opening);
    CHECK(Open(HKEY_LOCAL_MACHINE, L"A\\Leaf", KEY_ALL_ACCESS) == 0);
  }
  registry.Deny(u"A", KEY_WRITE);
  CHECK(Create(HKEY_LOCAL_MACHINE, L"A\\New\\Sub") == ERROR_ACCESS_DENIED);
  CHECK(registry.Find(u"A\\New") == nullptr);
  registry.Deny(u"A\\Leaf", DELETE);
  CHECK(RegDeleteKeyW(HKEY_LOCAL_MACHINE, L"A\\Leaf") == ERROR_ACCESS_DENIED);
}

TEST_CASE("values are given out by the rules of RegQueryValueEx") {
  MachineSession session;
  winsim::Registry& registry = session.Machine().registry;
  const Key key(L"A");
  // "ab" in UTF-16 with and without terminator, half a unit, a character that code page 1252 has at 0x80.
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

  const auto expectNarrow = [&](const char* name, DWORD room, const Answer& answer) {
    Answer given{0, room, Bytes(room, 0xEE)};
    given.error = RegQueryValueExA(key.handle, name, nullptr, nullptr, given.buffer.data(), &given.size);
    CHECK(given == answer);
  };
  expectNarrow("ended", 4, {0, 3, {'a', 'b', 0, 0xEE}});
  expectNarrow("ended", 2, {ERROR_MORE_DATA, 3, Bytes(2, 0xEE)});
  expectNarrow("open", 4, {0, 2, {'a', 'b', 0, 0xEE}});
  expectNarrow("euro", 4, {0, 3, {0x80, 0, 0, 0xEE}});
  expectNarrow("raw", 4, {0, 4, {'a', 0, 'b', 0}});

  DWORD type = 99, size = 99;
  CHECK(RegQueryValueExW(key.handle, L"Euro", nullptr, &type, nullptr, &size) == 0);
  CHECK((type == REG_MULTI_SZ && size == 6));
  CHECK(RegQueryValueExW(key.handle, L"missing", nullptr, nullptr, nullptr, &size) == ERROR_FILE_NOT_FOUND);
  CHECK(size == 0);
}

TEST_CASE("values are taken by the rules of RegSetValueEx") {
  MachineSession session;
  winsim::Registry& registry = session.Machine().registry;
  const Key key(L"A");
  const BYTE euro[] = {0x80, 0};
  CHECK(RegSetValueExA(key.handle, "\x80", 0, REG_SZ, euro, 2) == 0);
  CHECK(*registry.GetValue(u"A", u"\u20AC") == winsim::RegistryValue{REG_SZ, {0xAC, 0x20, 0, 0}});
  CHECK(RegSetValueExA(key.handle, "raw", 0, REG_BINARY, euro, 2) == 0);
  CHECK(*registry.GetValue(u"A", u"RAW") == winsim::RegistryValue{REG_BINARY, {0x80, 0}});
  CHECK(RegSetValueExW(key.handle, nullptr, 0, REG_SZ, nullptr, 0) == 0);
  CHECK(*registry.GetValue(u"A", u"") == winsim::RegistryValue{REG_SZ, {}});
  CHECK((RegDeleteValueW(key.handle, nullptr) == 0 && registry.GetValue(u"A", u"") == nullptr));
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
