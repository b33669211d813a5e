#include "drivermanagement/LifeTime.h"

#include <doctest/doctest.h>

#include <utility>

#include "RegistryTextOnMachine.h"
#include "support/FailedCondition.h"
#include "support/SystemSession.h"
#include "support/Utf8.h"
#include "system/File.h"

using namespace DriverManagement;
using LCommon::System::File;
using LCommon::System::RegistryKey;

namespace {

constexpr const char16_t* ServicePath = u"System\\CurrentControlSet\\Services\\drv";
constexpr const char16_t* RecordPath = u"System\\CurrentControlSet\\Services\\drv\\LifeTime";
constexpr const char16_t* ClientPath = u"System\\CurrentControlSet\\Services\\drv\\LifeTime\\client";
constexpr std::uint64_t ThirtyDays = 0x1792F8648000;

constexpr const wchar_t* LocalFile = L"C:\\Program Files\\app.exe";
constexpr const wchar_t* RemoteFile = L"\\\\server\\share\\app.exe";

std::vector<std::uint8_t> TimeBytes(std::uint64_t time, std::size_t size = 8) {
  std::vector<std::uint8_t> bytes(size);
  for (std::size_t index = 0; index < size && index < 8; ++index)
    bytes[index] = static_cast<std::uint8_t>(time >> 8 * index);
  return bytes;
}

std::string TimeText(std::uint64_t time) {
  std::string text;
  for (const std::uint8_t byte : TimeBytes(time))
    text += {"0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]};
  return text;
}

struct RecordSession : SystemSession {
  winsim::Registry& registry = Machine().registry;

  RecordSession() { registry.Make(ServicePath); }

  std::uint64_t Now() { return Machine().clock.Now(); }
  std::string Record() { return RegistryText(registry, RecordPath); }

  void FileEntry(std::u16string_view name, std::u16string_view file) {
    const std::u16string path = std::u16string(RecordPath) + u"\\" + std::u16string(name);
    registry.SetNumber(path, u"Mode", 0);
    registry.SetString(path, u"File", file);
  }
  void TimeEntry(std::u16string_view name, std::vector<std::uint8_t> time) {
    const std::u16string path = std::u16string(RecordPath) + u"\\" + std::u16string(name);
    registry.SetNumber(path, u"Mode", 1);
    registry.SetBinary(path, u"Time", std::move(time));
  }
};

GenericLifeTime Driver() {
  return GenericLifeTime(L"drv", L"", L"");
}
GenericLifeTime Client(const wchar_t* file) {
  return GenericLifeTime(L"drv", L"client", file);
}

void CreateFileAt(const wchar_t* path) {
  File(path, File::accessReadWrite, 0, FILE_ATTRIBUTE_NORMAL, CREATE_ALWAYS);
}

}  // namespace

TEST_CASE("purging deletes exactly the lapsed entries") {
  RecordSession session;
  winsim::Registry& registry = session.registry;
  const std::uint64_t now = session.Now();
  CreateFileAt(L"C:\\there");
  registry.SetNumber(RecordPath, u"Auto", 1);
  const auto entry = [](const char16_t* name) { return std::u16string(RecordPath) + u"\\" + name; };

  session.FileEntry(u"alive file", u"C:\\THERE");
  session.TimeEntry(u"alive now", TimeBytes(now));
  session.TimeEntry(u"alive for 100 ns", TimeBytes(now - ThirtyDays + 1));
  session.TimeEntry(u"alive later", TimeBytes(now + ThirtyDays));

  session.FileEntry(u"file gone", u"C:\\gone");
  session.FileEntry(u"file below nothing", u"C:\\gone\\gone");
  session.FileEntry(u"file empty", u"");
  registry.SetNumber(entry(u"file missing"), u"Mode", 0);
  registry.SetNumber(entry(u"file mistyped"), u"Mode", 0);
  registry.SetString(entry(u"file mistyped"), u"File", u"C:\\there", 2);
  session.TimeEntry(u"time over", TimeBytes(now - ThirtyDays));
  session.TimeEntry(u"time short", TimeBytes(now, 7));
  session.TimeEntry(u"time long", TimeBytes(now, 9));
  session.TimeEntry(u"time past the end of counting", TimeBytes(~std::uint64_t{0}));
  registry.SetNumber(entry(u"time mistyped"), u"Mode", 1);
  registry.SetNumber(entry(u"time mistyped"), u"Time", 0x7FFFFFFF);
  registry.SetNumber(entry(u"time missing"), u"Mode", 1);
  for (const char16_t* const name : {u"mode unknown", u"mode missing", u"mode mistyped", u"mode short"})
    session.FileEntry(name, u"C:\\there");
  registry.SetNumber(entry(u"mode unknown"), u"Mode", 2);
  registry.Make(entry(u"mode missing")).values.erase(u"Mode");
  registry.SetString(entry(u"mode mistyped"), u"Mode", u"0");
  registry.Make(entry(u"mode short")).values[u"Mode"] = {4, {0, 0}};
  registry.Make(entry(u"empty\\with\\subkeys"));

  const std::string alive =
      "alive file{File=\"C:\\THERE\" Mode=0} alive for 100 ns{Mode=1 Time=" + TimeText(now - ThirtyDays + 1) +
      "} alive later{Mode=1 Time=" + TimeText(now + ThirtyDays) + "} alive now{Mode=1 Time=" + TimeText(now) +
      "}";
  CHECK(Driver().Purge() == 0);
  CHECK(session.Record() == "Auto=1 " + alive);
  session.Machine().gate.StartTrace();
  CHECK(Driver().Purge() == 0);
  CHECK(session.Trace("RegDeleteKeyW").empty());

  session.Machine().clock.Advance(2 * ThirtyDays);
  File::Delete(L"C:\\there");
  CHECK(Driver().Purge() == 1);
  CHECK(session.Record() == "Auto=1");
}

TEST_CASE("a claim whose file cannot be looked at is kept, one whose file cannot be found is not") {
  for (const std::uint32_t error : {5u, 2u, 3u, 53u, 123u}) {
    CAPTURE(error);
    RecordSession session;
    session.registry.SetNumber(RecordPath, u"Auto", 1);
    session.FileEntry(u"client", u"C:\\Windows");
    session.Machine().gate.FailFunction("FindFirstFileW", error);
    CHECK(Driver().Purge() == (error != 5));
    CHECK((session.registry.Find(ClientPath) == nullptr) == (error != 5));
  }
}

TEST_CASE("only a driver that was installed on demand and that no entry keeps may go") {
  // Whether it is expired, may go, and is expired then.
  const auto check = [](const char* title, std::string answers, auto prepare) {
    CAPTURE(title);
    RecordSession session;
    prepare(session);
    std::string found;
    for (const unsigned int answer : {Driver().IsExpired(), Driver().Purge(), Driver().IsExpired()})
      found += std::to_string(answer);
    CHECK(found == answers);
  };
  const auto flag = [](std::uint32_t value) {
    return [=](RecordSession& session) { session.registry.SetNumber(RecordPath, u"Auto", value); };
  };
  check("no record", "000", [](RecordSession&) {});
  check("an empty record", "000", [](RecordSession& session) { session.registry.Make(RecordPath); });
  check("not on demand", "000", flag(0));
  check("on demand", "111", flag(1));
  check("on demand, with another number", "111", flag(9));
  check("a mistyped flag", "000", [](RecordSession& s) { s.registry.SetString(RecordPath, u"Auto", u"1"); });
  check("a lapsed entry counts until it is purged", "011", [&](RecordSession& session) {
    flag(1)(session);
    session.registry.Make(ClientPath);
  });
}

TEST_CASE("attaching writes the entry that the client's file calls for") {
  RecordSession session;
  winsim::Registry& registry = session.registry;
  CreateFileAt(LocalFile);
  const std::string time = TimeText(session.Now());
  const std::string fileEntry = R"(client{File="C:\Program Files\app.exe" Mode=0})";
  const std::string timeEntry = "client{Mode=1 Time=" + time + "}";
  const auto check = [&](const char* title, const std::string& record, const wchar_t* file,
                         unsigned int automatic, auto prepare) {
    CAPTURE(title);
    registry.DeleteTree(RecordPath);
    prepare();
    Client(file).Attach(automatic);
    CHECK(session.Record() == record);
    CHECK(Client(file).IsAttached() == (record.find("Auto=\"") == std::string::npos));
  };
  const auto flag = [&](std::uint32_t value) { registry.SetNumber(RecordPath, u"Auto", value); };
  const auto fromTime = [&] { session.TimeEntry(u"client", TimeBytes(5)), flag(1); };
  const auto fromFile = [&] { session.FileEntry(u"client", u"C:\\Program Files\\app.exe"), flag(0); };
  check("first claim, on demand", "Auto=1 " + fileEntry, LocalFile, 1, [] {});
  check("first claim of a remote file", "Auto=0 " + timeEntry, RemoteFile, 0, [] {});
  check("the flag is raised", "Auto=1 " + timeEntry, RemoteFile, 0x100, [&] { flag(0); });
  check("a strange flag is left alone", "Auto=\"x\" " + fileEntry, LocalFile, 0,
        [&] { registry.SetString(RecordPath, u"Auto", u"x"); });
  check("from a remote file to a local one", "Auto=1 " + fileEntry, LocalFile, 0, fromTime);
  check("from a local file to a remote one", "Auto=0 " + timeEntry, RemoteFile, 0, fromFile);
  check("a time is renewed", "Auto=1 " + timeEntry, RemoteFile, 0, fromTime);
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
    session.registry.DeleteTree(ClientPath);
    Client(file).Attach(0);
    CHECK(Client(file).IsAttached() == 1);
    return RegistryText(session.registry, ClientPath);
  };
  CHECK(entry(L"d:\\app.exe") == R"(File="d:\app.exe" Mode=0)");
  CHECK(entry(L"\\\\?\\D:\\dir\\\\app.exe") == R"(File="D:\dir\app.exe" Mode=0)");
  CHECK(entry(L"X:\\app.exe") == R"(File="C:\base\app.exe" Mode=0)");
  CHECK(entry(L"Y:\\app.exe") == R"(File="C:\base\deep\app.exe" Mode=0)");
  for (const wchar_t* const file :
       {L"Z:\\app.exe", L"E:\\app.exe", L"F:\\app.exe", L"G:\\app.exe", L"R:\\app.exe", RemoteFile})
    CHECK(entry(file) == "Mode=1 Time=" + TimeText(session.Now()));
  CHECK_THROWS_AS(Client(L"Q:\\app.exe").Attach(0), File::Exception);
}

TEST_CASE("a claim counts only in the form in which it would be made now") {
  RecordSession session;
  winsim::Registry& registry = session.registry;
  const auto attached = [](const wchar_t* file) {
    return Client(file).IsAttached() * 10 + Client(file).IsAlreadyAttached();
  };
  CHECK(attached(LocalFile) == 0);
  Client(LocalFile).Attach(0);
  CHECK(attached(LocalFile) == 11);
  CHECK(attached(L"c:/PROGRAM files\\\\APP.exe") == 11);
  CHECK(attached(L"C:\\other.exe") == 0);
  CHECK(attached(RemoteFile) == 0);
  session.Machine().gate.StartTrace();
  Client(L"C:\\PROGRAM FILES\\app.exe").Attach(1);
  CHECK(session.Trace("RegSetValueExW").empty());

  Client(RemoteFile).Attach(0);
  CHECK(attached(RemoteFile) == 10);  // who may write always renews
  CHECK(attached(LocalFile) == 0);
  for (const char16_t* const key : {ClientPath, ServicePath, RecordPath}) {
    registry.Deny(key, KEY_WRITE);
    CHECK(attached(RemoteFile) == 11);
    registry.Deny(key, key == RecordPath ? KEY_WRITE : 0);
  }
  session.Machine().gate.StartTrace();
  Client(RemoteFile).Attach(1);
  CHECK(session.Trace("RegSetValueExW").empty());
  session.Machine().clock.Advance(ThirtyDays);
  CHECK(attached(RemoteFile) == 0);
  CHECK_THROWS_AS(Client(RemoteFile).Attach(0), RegistryKey::AccessDeniedException);
}

TEST_CASE("detaching takes back the client's own entry and nothing else") {
  RecordSession session;
  Client(RemoteFile).Detach();
  CHECK(session.Record() == "none");
  session.TimeEntry(u"other", TimeBytes(0));
  session.registry.SetNumber(RecordPath, u"Auto", 1);
  const std::string record = session.Record();
  Client(RemoteFile).Detach();
  Client(RemoteFile).Attach(0);
  session.registry.Make(std::u16string(ClientPath) + u"\\below");
  CHECK(session.Record() != record);
  GenericLifeTime(L"drv", L"CLIENT", L"").Detach();
  CHECK(session.Record() == record);
}

TEST_CASE("without service key there is no record, without identity no claim") {
  SystemSession session;
  GenericLifeTime client = Client(LocalFile);
  CHECK_THROWS_AS(client.IsAttached(), BaseLifeTime::ObjectNotFoundException);
  CHECK_THROWS_AS(client.Attach(1), BaseLifeTime::ObjectNotFoundException);
  CHECK_THROWS_AS(client.Detach(), BaseLifeTime::ObjectNotFoundException);
  CHECK_THROWS_AS(client.Purge(), BaseLifeTime::ObjectNotFoundException);
  CHECK(client.IsExpired() == 1);
  CHECK(RegistryText(session.Machine().registry, ServicePath) == "none");
  CHECK(FailedCondition([] { Driver().IsAttached(); }) == "m_unique.Length() != 0");
  CHECK(FailedCondition([] { Driver().Detach(); }) == "m_unique.Length() != 0");
  CHECK(FailedCondition([] { Client(L"").Attach(0); }) == "m_filePathName.Length() != 0");
}
