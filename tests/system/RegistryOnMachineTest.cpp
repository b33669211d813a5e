#include <doctest/doctest.h>

#include <string>
#include <vector>

#include "support/SystemSession.h"
#include "system/ErrorCases.h"
#include "system/RegistryKey.h"

namespace {

using LCommon::System::RegistryKey;

}  // namespace

TEST_CASE("every registry error becomes the exception of its operation") {
  SystemSession session;
  session.Machine().registry.SetNumber(u"Software\\Test\\Child", u"n", 1);
  const LPtrRef<RegistryKey> key = RegistryKey::LocalMachine()->Open(L"Software\\Test", KEY_ALL_ACCESS);
  const LPtrRef<RegistryKey> child = key->Open(L"Child", KEY_ALL_ACCESS);
  const ErrorCase denied = {5, Exactly<RegistryKey::AccessDeniedException>(5)};
  const ErrorCase noKey = {2, Exactly<RegistryKey::KeyNotFoundException>(2)};
  const ErrorCase noValue = {2, Exactly<RegistryKey::ValueNotFoundException>(2)};
  const ErrorCase grows = {234, "nothing"};
  using Exception = RegistryKey::Exception;

  CheckErrors<Exception>(session, "RegCreateKeyExW", {denied}, [&] { key->Create(L"New", KEY_READ); });
  CheckErrors<Exception>(session, "RegOpenKeyExW", {denied, noKey}, [&] { key->Open(L"Child", KEY_READ); });
  CheckErrors<Exception>(session, "RegOpenKeyExW", {denied, {2, "nothing"}}, [&] {
    const bool exists = key->IsChildExist(L"Child");
    CHECK_FALSE(exists);
  });
  CheckErrors<Exception>(session, "RegDeleteKeyW", {denied, noKey}, [&] { key->Delete(L"Child"); });
  CheckErrors<Exception>(session, "RegDeleteValueW", {denied, noValue}, [&] { child->DeleteValue(L"n"); });
  CheckErrors<Exception>(session, "RegQueryValueExW", {denied, noValue, grows},
                         [&] { child->GetValue(L"n"); });
  CheckErrors<Exception>(session, "RegSetValueExW", {denied}, [&] { child->SetInt32Value(L"n", 2); });
  CheckErrors<Exception>(session, "RegEnumKeyExW", {denied, grows, {259, "nothing"}},
                         [&] { key->GetChilds(); });

  CHECK(session.Machine().registry.GetNumber(u"Software\\Test\\Child", u"n") == 1);
  CHECK(child->GetValue(L"n")->GetInt32Data() == 1);
}

TEST_CASE("a value is read with the size that the registry reports, or else with twice the room") {
  SystemSession session;
  winsim::Machine& machine = session.Machine();
  const LPtrRef<RegistryKey> key = RegistryKey::LocalMachine()->Create(L"Software\\Test", KEY_READ);
  // A registry that says "more data" without reporting a larger size gets twice the room: 32, 64, 128 bytes.
  const struct {
    unsigned int size;
    unsigned int refusals;
    std::size_t calls;
  } cases[] = {{32, 0, 1}, {33, 0, 2}, {100, 0, 2}, {5000, 0, 2},
               {64, 1, 2}, {65, 1, 3}, {128, 2, 3}, {129, 2, 4}};
  for (const auto& each : cases) {
    CAPTURE(each.size);
    machine.registry.SetBinary(u"Software\\Test", u"n", winsim::Bytes(each.size, 7));
    machine.gate.StartTrace();
    machine.gate.FailFunction("RegQueryValueExW", 234, each.refusals);
    CHECK(key->GetValue(L"n")->GetData().Size() == each.size);
    CHECK(session.Trace("RegQueryValueExW").size() == each.calls);
    machine.gate.Restore();
  }
}

TEST_CASE("a long name of a subkey doubles the room for that subkey only") {
  SystemSession session;
  // The call behind the last name is the one that finds no more.
  const struct {
    std::vector<unsigned int> lengths;
    std::size_t calls;
  } cases[] = {{{}, 1},    {{32}, 2},  {{33}, 3},  {{64}, 3},    {{65}, 4},
               {{128}, 4}, {{129}, 5}, {{255}, 5}, {{33, 1}, 4}, {{1, 65, 33}, 7}};
  for (const auto& each : cases) {
    CAPTURE(each.calls);
    session.Machine().registry.DeleteTree(u"Software\\Test");
    session.Machine().registry.Make(u"Software\\Test");
    char16_t letter = u'a';
    for (const unsigned int length : each.lengths) {
      session.Machine().registry.Make(u"Software\\Test\\" + std::u16string(length, letter++));
    }
    session.Machine().gate.StartTrace();
    const LUnicodeStringArray names =
        RegistryKey::LocalMachine()->Open(L"Software\\Test", KEY_READ)->GetChilds();
    REQUIRE(names.Length() == each.lengths.size());
    for (unsigned int index = 0; index < names.Length(); ++index) {
      CHECK(names[index].Length() == each.lengths[index]);
    }
    CHECK(session.Trace("RegEnumKeyExW").size() == each.calls);
  }
}

TEST_CASE("a subkey that vanishes while its tree is deleted is no failure, any other trouble ends it") {
  SystemSession session;
  winsim::Machine& machine = session.Machine();
  for (const char16_t* path : {u"Software\\Tree\\1", u"Software\\Tree\\2\\x", u"Software\\Tree\\3"}) {
    machine.registry.Make(path);
  }
  const LPtrRef<RegistryKey> software = RegistryKey::LocalMachine()->Open(L"Software", KEY_ALL_ACCESS);
  SUBCASE("vanished") {
    // The second opening is that of the first child; the key itself then still has that child.
    machine.gate.FailFunction("RegOpenKeyExW", 2, 1, 1);
    CHECK(Thrown([&] { software->DeleteTree(L"Tree"); }) == Exactly<RegistryKey::AccessDeniedException>(5));
    CHECK(machine.registry.Find(u"Software\\Tree\\1") != nullptr);
    CHECK(machine.registry.Find(u"Software\\Tree\\2") == nullptr);
    CHECK(machine.registry.Find(u"Software\\Tree\\3") == nullptr);
  }
  SUBCASE("refused") {
    machine.registry.Deny(u"Software\\Tree\\2", KEY_SET_VALUE);
    CHECK(Thrown([&] { software->DeleteTree(L"Tree"); }) == Exactly<RegistryKey::AccessDeniedException>(5));
    CHECK(machine.registry.Find(u"Software\\Tree\\1") == nullptr);
    CHECK(machine.registry.Find(u"Software\\Tree\\2\\x") != nullptr);
    CHECK(machine.registry.Find(u"Software\\Tree\\3") != nullptr);
  }
}

TEST_CASE("the predefined roots and no handle are never closed") {
  SystemSession session;
  RegistryKey::LocalMachine();
  LMakeRef<RegistryKey::Handle>(HKEY_CURRENT_USER);
  LMakeRef<RegistryKey::Handle>();
  CHECK(TraceText(session, "RegCloseKey") == "");
  RegistryKey::LocalMachine()->Create(L"Software\\Test", KEY_READ);
  CHECK(TraceText(session, "RegCloseKey") == "RegCloseKey(HKLM\\Software\\Test)\n");
}
