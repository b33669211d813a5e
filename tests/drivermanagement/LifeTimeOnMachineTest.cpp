#include "drivermanagement/LifeTime.h"

#include <doctest/doctest.h>

#include <utility>

#include "LifeTimeRecord.h"

using namespace DriverManagement;
using LCommon::System::File;
using LCommon::System::RegistryKey;

TEST_CASE("a claim bound to time lasts for exactly thirty days, and keeping it deletes nothing") {
  RecordSession session;
  session.SetAuto(1);
  session.TimeEntry(L"client", TimeBytes(session.Now() - ThirtyDays + 1));
  CHECK(Driver().Purge() == 0);
  CHECK(session.Trace("RegDeleteKeyW").empty());
  session.TimeEntry(L"client", TimeBytes(session.Now() - ThirtyDays));
  CHECK(Driver().Purge() == 1);
  CHECK(session.Record() == "Auto=1");
}

TEST_CASE("a claim whose file cannot be looked at is kept, one whose file cannot be found is not") {
  for (const std::uint32_t error : {5u, 2u, 3u, 21u, 53u, 123u, 1117u, 1450u}) {
    CAPTURE(error);
    RecordSession session;
    session.SetAuto(1);
    session.FileEntry(L"client", L"C:\\Windows");
    session.Machine().gate.FailFunction("FindFirstFileW", error);
    CHECK(Driver().Purge() == (error != 5));
    CHECK(RegistryText(ClientPath) == (error == 5 ? R"(File="C:\Windows" Mode=0)" : "none"));
  }
}

TEST_CASE("a claim that no name leads to is kept, since nobody can look at it") {
  RecordSession session;
  session.SetAuto(1);
  session.Entry(L"lapsed", 2);
  winsim::Registry& registry = session.Machine().registry;
  winsim::RegistryNode& record = registry.Make(MachineText(RecordPath));
  winsim::RegistryNode& nameless = registry.MakeChild(record, std::u16string(u"\0x", 2));
  CHECK(Driver().Purge() == 0);
  CHECK(Driver().IsExpired() == 0);
  CHECK(record.Children().size() == 1);  // the other one lapsed
  registry.DeleteTree(nameless);
  CHECK(Driver().Purge() == 1);
}

TEST_CASE("only a file on a local fixed drive binds its client's entry") {
  RecordSession session;
  winsim::FileSystem& files = session.Machine().files;
  const std::pair<char16_t, std::uint32_t> drives[] = {{u'D', 3}, {u'E', 2}, {u'F', 5}, {u'G', 4}, {u'R', 6}};
  for (const auto& [letter, type] : drives)
    files.AddDrive(letter, type);
  files.AddShare(u"\\\\server\\share");
  files.Substitute(u'X', u"C:\\base");
  files.Substitute(u'Y', u"X:\\deep");
  files.Substitute(u'Z', u"E:\\base");
  const auto entry = [&](const wchar_t* file) {
    DeleteKey(ClientPath);
    Client(file).Attach(0);
    CHECK(Client(file).IsAttached() == 1);
    return RegistryText(ClientPath);
  };
  CHECK(entry(L"d:\\app.exe") == R"(File="d:\app.exe" Mode=0)");
  CHECK(entry(L"\\\\?\\D:\\dir\\\\app.exe") == R"(File="D:\dir\app.exe" Mode=0)");
  CHECK(entry(L"X:\\app.exe") == R"(File="C:\base\app.exe" Mode=0)");
  CHECK(entry(L"Y:\\app.exe") == R"(File="C:\base\deep\app.exe" Mode=0)");
  for (const wchar_t* const file :
       {L"Z:\\app.exe", L"E:\\app.exe", L"F:\\app.exe", L"G:\\app.exe", L"R:\\app.exe", RemoteFile})
    CHECK(entry(file).starts_with("Mode=1 Time="));
  CHECK_THROWS_AS(Client(L"Q:\\app.exe").Attach(0), File::Exception);
}

TEST_CASE("who may not write counts a living claim as made, and cannot make a lapsed one") {
  RecordSession session;
  winsim::Registry& registry = session.Machine().registry;
  Client(RemoteFile).Attach(0);
  for (const wchar_t* const key : {ClientPath, ServicePath, RecordPath}) {
    registry.Deny(MachineText(key), KEY_WRITE);
    CHECK(Client(RemoteFile).IsAlreadyAttached() == 1);
    registry.Deny(MachineText(key), key == RecordPath ? KEY_WRITE : 0);
  }
  session.Machine().gate.StartTrace();
  Client(RemoteFile).Attach(1);
  CHECK(session.Trace("RegSetValueExW").empty());
  session.Machine().clock.Advance(ThirtyDays);
  CHECK(Client(RemoteFile).IsAttached() + Client(RemoteFile).IsAlreadyAttached() == 0);
  CHECK_THROWS_AS(Client(RemoteFile).Attach(0), RegistryKey::AccessDeniedException);
  CHECK_NOTHROW(GenericLifeTime(L"kvtest", L"other", L"").Detach());  // nothing to give up
  registry.Deny(MachineText(RecordPath), 0);
}

TEST_CASE("an entry that is gone when it is looked at counts as lapsed") {
  RecordSession session;
  session.SetAuto(1);
  session.TimeEntry(L"client", TimeBytes(session.Now()));
  session.Machine().gate.FailFunction("RegOpenKeyExW", 2, 1, 2);  // behind the service's and the record's
  CHECK(Driver().Purge() == 1);
  CHECK(session.Record() == "Auto=1");
}
