#include "conformance/Facts.h"

#include <algorithm>

namespace {

constexpr wchar_t RootName[] = L"Software\\KvConformance";

void RemoveKeys() {
  for (const wchar_t* const below : {L"\\a\\b", L"\\a", L"\\Bb", L"\\c", L""}) {
    RegDeleteKeyW(HKEY_LOCAL_MACHINE, Wide() + RootName + below);
  }
}

/// The status; a key that is opened is closed again.
std::string Opened(HKEY below, const wchar_t* name) {
  HKEY key = nullptr;
  const LSTATUS status = RegOpenKeyExW(below, name, 0, KEY_READ, &key);
  if (status == 0 && key != below) CHECK(RegCloseKey(key) == 0);
  return StatusText(status);
}

/// The status and the disposition.
std::string Created(HKEY below, const wchar_t* name) {
  HKEY key = nullptr;
  DWORD disposition = 0;
  const LSTATUS status = RegCreateKeyExW(below, name, 0, nullptr, 0, KEY_READ, nullptr, &key, &disposition);
  if (status == 0) CHECK(RegCloseKey(key) == 0);
  return StatusText(status) + ", " + std::to_string(disposition);
}

LSTATUS Set(HKEY key, const wchar_t* name, DWORD type, const void* data, DWORD size) {
  return RegSetValueExW(key, name, 0, type, static_cast<const BYTE*>(data), size);
}

/// "status, type, size, bytes" of reading with `room` bytes of room; '#' is a byte that was left alone.
std::string Read(HKEY key, const wchar_t* name, DWORD room = 8) {
  char data[9] = "########";
  DWORD type = 77;
  DWORD size = room;
  const LSTATUS status = RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(data), &size);
  std::string bytes;
  for (unsigned int i = 0; i < 8; ++i) {
    bytes += data[i] == 0 ? '.' : data[i];
  }
  return StatusText(status) + ", " + std::to_string(type) + ", " + std::to_string(size) + ", " + bytes;
}

/// "status, length, name".
std::string Enumerated(HKEY key, DWORD index, DWORD room = 8) {
  wchar_t name[8] = L"###";
  DWORD length = room;
  const LSTATUS status = RegEnumKeyExW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr);
  return StatusText(status) + ", " + std::to_string(length) + ", " + Narrow(name);
}

}  // namespace

TEST_CASE("keys") {
  MachineSession session;
  Wide longName;
  std::fill_n(longName.units, 257, L'a');
  RemoveKeys();
  Given("keys");
  FACT("0, 1", Created(HKEY_LOCAL_MACHINE, RootName));
  FACT("2", Opened(HKEY_LOCAL_MACHINE, L"Software\\KvConformance\\none\\sub"));
  FACT("161", Opened(HKEY_LOCAL_MACHINE, L"\\Software"));
  FACT("0", Opened(HKEY_LOCAL_MACHINE, L"sOFTWARE\\kVcONFORMANCE\\"));
  HKEY root = nullptr;
  HKEY key = HKEY_CURRENT_USER;
  REQUIRE(RegOpenKeyExW(HKEY_LOCAL_MACHINE, RootName, 0, KEY_ALL_ACCESS, &root) == 0);
  STATUS_FACT("2", RegOpenKeyExW(root, L"none", 0, KEY_READ, &key));
  FACT("null", std::string(key == nullptr ? "null" : "kept"));
  for (const bool wide : {true, false}) {
    Given(wide ? "no key" : "no key, 8-bit");
    key = HKEY_CURRENT_USER;
    STATUS_FACT("6", wide ? RegOpenKeyExW(nullptr, L"", 0, KEY_READ, &key)
                          : RegOpenKeyExA(nullptr, "", 0, KEY_READ, &key));
    FACT(wide ? "null" : "kept", std::string(key == nullptr ? "null" : "kept"));
  }
  Given("keys");
  STATUS_FACT("1010", RegCreateKeyExW(root, L"a", 0, nullptr, 0, KEY_READ, nullptr, nullptr, nullptr));
  FACT("0, 1", Created(root, L"a\\b"));
  FACT("0, 2", Created(root, L"A"));
  FACT("0, 2", Created(root, L""));
  FACT("1010, 0", Created(root, nullptr));
  FACT("87, 0", Created(root, longName));
  STATUS_FACT("5", RegDeleteKeyW(root, L"a"));  // it has a subkey
  STATUS_FACT("0", RegDeleteKeyW(root, L"A\\B"));
  STATUS_FACT("2", RegDeleteKeyW(root, L"a\\b"));

  Given("handle for reading");
  REQUIRE(RegOpenKeyExW(root, L"a", 0, GENERIC_READ, &key) == 0);
  STATUS_FACT("5", Set(key, L"v", REG_DWORD, "1234", 4));
  FACT("2, 77, 8, ########", Read(key, L"v"));
  FACT("0, 1", Created(key, L"b"));  // the key's protection decides, not the handle's rights
  STATUS_FACT("0", RegDeleteKeyW(key, L"b"));
  CHECK(RegCloseKey(key) == 0);
  REQUIRE(RegOpenKeyExW(root, L"a", 0, KEY_ALL_ACCESS, &key) == 0);
  Given("deleted key");
  STATUS_FACT("0", RegDeleteKeyW(root, L"a"));
  FACT("1018, 77, 8, ########", Read(key, L"v"));
  STATUS_FACT("1018", Set(key, L"v", REG_DWORD, "1234", 4));
  STATUS_FACT("1018", RegDeleteValueW(key, L"v"));
  FACT("1018, 8, ###", Enumerated(key, 0));
  FACT("1018", Opened(key, L"b"));
  FACT("1018, 0", Created(key, L"b"));
  STATUS_FACT("1018", RegDeleteKeyW(key, L""));
  FACT("0, 1", Created(root, L"a"));  // a successor, which the handle does not lead to
  STATUS_FACT("1018", RegDeleteValueW(key, L"of the successor"));
  STATUS_FACT("0", RegCloseKey(key));

  CHECK((Created(root, L"c") == "0, 1" && Created(root, L"Bb") == "0, 1"));
  Given("three subkeys");
  FACT("0, 1, a", Enumerated(root, 0));
  FACT("0, 2, Bb", Enumerated(root, 1, 3));
  FACT("234, 2, ###", Enumerated(root, 1, 2));
  FACT("259, 8, ###", Enumerated(root, 3));
  CHECK(RegCloseKey(root) == 0);
  RemoveKeys();
}

TEST_CASE("values") {
  MachineSession session;
  RemoveKeys();
  HKEY key = nullptr;
  REQUIRE(RegCreateKeyExW(HKEY_LOCAL_MACHINE, RootName, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                          nullptr) == 0);
  DWORD size = 5;
  DWORD type = 77;
  Given("no value");
  FACT("2, 77, 8, ########", Read(key, L"v"));
  FACT("2, 77, 8, ########", Read(key, nullptr));
  STATUS_FACT("2", RegQueryValueExW(key, L"v", nullptr, &type, nullptr, &size));
  FACT("0", std::to_string(size));
  STATUS_FACT("2", RegDeleteValueW(key, L"v"));
  Given("values");
  STATUS_FACT("0", Set(key, L"v", REG_DWORD, "1234", 4));
  FACT("0, 4, 4, 1234####", Read(key, L"V", 4));
  FACT("234, 4, 4, ########", Read(key, L"v", 3));
  STATUS_FACT("0", RegQueryValueExW(key, L"v", nullptr, &type, nullptr, &size));
  FACT("4, 4", std::to_string(type) + ", " + std::to_string(size));
  STATUS_FACT("0", Set(key, L"t", REG_SZ, L"ab!", 4));  // it gets a terminator where there is room
  FACT("0, 1, 4, a.b...##", Read(key, L"t", 6));
  FACT("0, 1, 4, a.b.####", Read(key, L"t", 4));
  size = 4;  // the room is read before the type is written
  STATUS_FACT("0", RegQueryValueExW(key, L"t", nullptr, &size, reinterpret_cast<BYTE*>(&type), &size));
  STATUS_FACT("0", Set(key, L"empty", REG_SZ, nullptr, 0));
  FACT("0, 1, 0, ########", Read(key, L"empty"));
  CHECK(RegCloseKey(key) == 0);
  RemoveKeys();
}
