#include "system/RegistryKey.h"

#include <doctest/doctest.h>

#include <string>
#include <string_view>
#include <vector>

#include "support/Lines.h"
#include "support/TestHeap.h"
#include "support/Throws.h"
#include "support/Utf8.h"
#include "system/Environment.h"
#include "system/ErrorCases.h"
#include "system/File.h"

using namespace std::string_view_literals;

namespace {

using LCommon::System::Environment;
using LCommon::System::File;
using LCommon::System::RegistryKey;
using Value = RegistryKey::Value;

const auto denied = Throws<RegistryKey::AccessDeniedException>(5);

LPtrRef<RegistryKey> TestKey() {
  return RegistryKey::LocalMachine()->Create(L"Software\\Test", KEY_ALL_ACCESS);
}

}  // namespace

TEST_CASE("every registry error becomes the exception of its operation") {
  SystemSession session;
  const LPtrRef<RegistryKey> key = TestKey(), child = key->Create(L"Child", KEY_ALL_ACCESS);
  child->SetInt32Value(L"n", 1);
  const ErrorCase noKey = Throws<RegistryKey::KeyNotFoundException>(2);
  const ErrorCase noValue = Throws<RegistryKey::ValueNotFoundException>(2);
  const ErrorCase grows = {234, "nothing"};
  const auto check = [&](const char* function, std::initializer_list<ErrorCase> cases, auto operation) {
    CheckErrors<RegistryKey::Exception>(session, function, cases, operation);
  };
  check("RegCreateKeyExW", {denied}, [&] { key->Create(L"New", KEY_READ); });
  check("RegOpenKeyExW", {denied, noKey}, [&] { key->Open(L"Child", KEY_READ); });
  check("RegOpenKeyExW", {denied, {2, "nothing"}}, [&] {
    const bool exists = key->IsChildExist(L"Child");
    CHECK_FALSE(exists);
  });
  check("RegDeleteKeyW", {denied, noKey}, [&] { key->Delete(L"Child"); });
  check("RegDeleteValueW", {denied, noValue}, [&] { child->DeleteValue(L"n"); });
  check("RegQueryValueExW", {denied, noValue, grows}, [&] { child->GetValue(L"n"); });
  check("RegQueryValueExW", {denied, {2, "nothing"}, grows}, [&] { child->GetValue(L"n", nullptr); });
  check("RegSetValueExW", {denied}, [&] { child->SetInt32Value(L"n", 2); });
  check("RegEnumKeyExW", {denied, grows, {259, "nothing"}}, [&] { key->GetChilds(); });
  CHECK(child->GetValue(L"n")->GetInt32Data() == 1);
}

TEST_CASE("all direct subkeys are listed, however long their names are") {
  SystemSession session;
  const LPtrRef<RegistryKey> key = TestKey();
  CHECK(key->GetChilds().Length() == 0);
  std::string names;
  for (const unsigned int length : {32u, 33u, 64u, 65u, 129u, 255u, 1u}) {
    const std::string name(length, static_cast<char>('a' + names.size() % 26));
    key->Create(Utf16(name + "\\not direct"), KEY_READ);
    names += name + " ";
  }
  const LUnicodeStringArray found = key->GetChilds();
  std::vector<std::string> listed;
  for (unsigned int index = 0; index < found.Length(); ++index)
    listed.push_back(Utf8(found[index]));
  CHECK(listed.size() == 7);
  for (const std::string& name : listed)
    CHECK(names.find(name + " ") != names.npos);
}

TEST_CASE(
    "deleting a tree takes all below the key; a subkey that vanishes meanwhile is no failure, other trouble "
    "ends it") {
  SystemSession session;
  winsim::Machine& machine = session.Machine();
  const LPtrRef<RegistryKey> key = TestKey();
  for (const wchar_t* path : {L"Tree\\1", L"Tree\\2\\x", L"Tree\\3", L"Tree2\\1"}) {
    key->Create(path, KEY_WRITE);
  }
  const auto left = [&] {
    std::string names;
    for (const char16_t* path : {u"Tree", u"Tree\\1", u"Tree\\2", u"Tree\\2\\x", u"Tree\\3", u"Tree2\\1"}) {
      if (machine.registry.Find(std::u16string(u"Software\\Test\\") + path))
        names += Utf8(SystemText(path)) + " ";
    }
    return names;
  };
  SUBCASE("vanished") {
    // The second opening is that of the first child; the key itself then still has that child.
    machine.gate.FailFunction("RegOpenKeyExW", 2, 1, 1);
    CHECK(Thrown([&] { key->DeleteTree(L"Tree"); }) == denied.outcome);
    CHECK(left() == "Tree Tree\\1 Tree2\\1 ");
  }
  SUBCASE("refused") {
    machine.registry.Deny(u"Software\\Test\\Tree\\2", KEY_SET_VALUE);
    CHECK(Thrown([&] { key->DeleteTree(L"Tree"); }) == denied.outcome);
    CHECK(left() == "Tree Tree\\2 Tree\\2\\x Tree\\3 Tree2\\1 ");
  }
}

TEST_CASE(
    "a tree of more levels than a registry has, or with a key that no name leads to, is left in order") {
  SystemSession session;
  winsim::Registry& registry = session.Machine().registry;
  const LPtrRef<RegistryKey> key = TestKey();
  winsim::RegistryNode* deepest = &registry.Make(u"Software\\Test\\Tree");
  for (int level = 1; level < 512; ++level) {
    deepest = &registry.MakeChild(*deepest, u"x");
  }
  SUBCASE("as deep as can be") {
    key->DeleteTree(L"Tree");
    CHECK_FALSE(key->IsChildExist(L"Tree"));
  }
  SUBCASE("too deep") {
    registry.MakeChild(*deepest, u"x");
    CHECK(Thrown([&] { key->DeleteTree(L"Tree"); }) == Exactly<RegistryKey::Exception>(206));
  }
  SUBCASE("a name that begins with a zero") {
    registry.MakeChild(registry.Make(u"Software\\Test\\Tree"), std::u16string(u"\0y", 2));
    CHECK(Thrown([&] { key->DeleteTree(L"Tree"); }) == denied.outcome);
    CHECK(key->Open(L"Tree", KEY_READ)->GetChilds().Length() == 1);
  }
}

TEST_CASE("an empty name is none to the platform, also when its text has a block") {
  SystemSession session;
  const LPtrRef<RegistryKey> key = TestKey();
  const LUnicodeString stored = LUnicodeString() + L"";
  REQUIRE(stored.Data() != nullptr);
  session.Machine().gate.StartTrace();
  key->Open(stored, KEY_READ);
  key->SetInt32Value(stored, 1);
  key->GetValue(stored);
  key->DeleteValue(stored);
  CHECK_THROWS(key->Create(stored, KEY_READ));
  CHECK_THROWS(key->Delete(stored));
  CHECK_THROWS(File(stored, File::accessRead, 0, 0, OPEN_EXISTING));
  CHECK_THROWS(File::GetAttributes(stored));
  CHECK_THROWS(File::Delete(stored));
  CHECK_THROWS(Environment::GetVariable(stored));
  Lines withText;
  for (const std::string& call : session.Trace()) {
    if (call.find("\"\"") != call.npos) withText.push_back(call);
  }
  CHECK(withText == Lines{});
}

TEST_CASE(
    "a handle is closed once, by the last key that shares it; the predefined roots and no handle never") {
  SystemSession session;
  RegistryKey::LocalMachine();
  LMakeRef<RegistryKey::Handle>(HKEY_CURRENT_USER);
  LPtrRef<RegistryKey::Handle> handle = LMakeRef<RegistryKey::Handle>();
  REQUIRE(RegCreateKeyExW(HKEY_LOCAL_MACHINE, L"Software\\Test", 0, nullptr, 0, KEY_READ, nullptr,
                          handle->Receive(), nullptr) == 0);
  LPtrRef<RegistryKey> first = LMakeRef<RegistryKey>(handle), second = LMakeRef<RegistryKey>(handle);
  handle = nullptr;
  first = nullptr;
  LMakeRef<RegistryKey::Handle>();
  CHECK(TraceText(session, "RegCloseKey") == "");
  second = nullptr;
  CHECK(TraceText(session, "RegCloseKey") == "RegCloseKey(HKLM\\Software\\Test)\n");
}
