#include "drivermanagement/LifeTime.h"

#include <doctest/doctest.h>

#include <functional>

#include "RegistryText.h"
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
  for (std::size_t index = 0; index < size && index < 8; ++index) {
    bytes[index] = static_cast<std::uint8_t>(time >> 8 * index);
  }
  return bytes;
}

std::string TimeText(std::uint64_t time) {
  std::string text;
  for (const std::uint8_t byte : TimeBytes(time)) {
    text += "0123456789abcdef"[byte >> 4];
    text += "0123456789abcdef"[byte & 15];
  }
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
  session.FileEntry(u"mode unknown", u"C:\\there");
  registry.SetNumber(entry(u"mode unknown"), u"Mode", 2);
  registry.SetString(entry(u"mode missing"), u"File", u"C:\\there");
  session.FileEntry(u"mode mistyped", u"C:\\there");
  registry.SetString(entry(u"mode mistyped"), u"Mode", u"0");
  session.FileEntry(u"mode short", u"C:\\there");
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
  const struct {
    std::uint32_t error;
    unsigned int free;
  } cases[] = {{5, 0}, {2, 1}, {3, 1}, {53, 1}, {123, 1}};
  for (const auto& item : cases) {
    CAPTURE(item.error);
    RecordSession session;
    session.registry.SetNumber(RecordPath, u"Auto", 1);
    session.FileEntry(u"client", u"C:\\Windows");
    session.Machine().gate.FailFunction("FindFirstFileW", item.error);
    CHECK(Driver().Purge() == item.free);
    CHECK((session.registry.Find(ClientPath) == nullptr) == (item.free == 1));
  }
}

TEST_CASE("only a driver that was installed on demand and that no entry keeps may go") {
  const struct {
    std::string title;
    std::function<void(RecordSession&)> prepare;
    unsigned int expired;
    unsigned int purges;
    unsigned int expiredThen;
  } cases[] = {
      {"no record", [](auto&) {}, 0, 0, 0},
      {"an empty record", [](auto& session) { session.registry.Make(RecordPath); }, 0, 0, 0},
      {"not on demand", [](auto& session) { session.registry.SetNumber(RecordPath, u"Auto", 0); }, 0, 0, 0},
      {"on demand", [](auto& session) { session.registry.SetNumber(RecordPath, u"Auto", 1); }, 1, 1, 1},
      {"on demand, with another number",
       [](auto& session) { session.registry.SetNumber(RecordPath, u"Auto", 9); }, 1, 1, 1},
      {"a mistyped flag", [](auto& session) { session.registry.SetString(RecordPath, u"Auto", u"1"); }, 0, 0,
       0},
      {"a lapsed entry counts until it is purged",
       [](auto& session) {
         session.registry.SetNumber(RecordPath, u"Auto", 1);
         session.registry.Make(ClientPath);
       },
       0, 1, 1},
      {"a live entry",
       [](auto& session) {
         session.registry.SetNumber(RecordPath, u"Auto", 1);
         session.TimeEntry(u"client", TimeBytes(session.Now()));
       },
       0, 0, 0},
  };
  for (const auto& item : cases) {
    CAPTURE(item.title);
    RecordSession session;
    item.prepare(session);
    CHECK(Driver().IsExpired() == item.expired);
    CHECK(Driver().Purge() == item.purges);
    CHECK(Driver().IsExpired() == item.expiredThen);
  }
}

TEST_CASE("purging asks only for what each entry needs, one deletion at a time") {
  RecordSession session;
  session.registry.SetNumber(RecordPath, u"Auto", 1);
  session.TimeEntry(u"a", TimeBytes(0));
  session.TimeEntry(u"b", TimeBytes(session.Now()));
  const auto calls = [&] {
    session.Machine().gate.ResetCount();
    Driver().Purge();
    return session.Machine().gate.Calls();
  };
  CHECK(Driver().Purge() == 0);
  std::string functions;
  for (const winsim::TraceEntry& call : session.Machine().gate.TakeTrace()) {
    if (call.function != "RegCloseKey") functions += call.function + " ";
  }
  const std::string lookAtTime =
      "RegOpenKeyExW RegQueryValueExW RegQueryValueExW GetSystemTime SystemTimeToFileTime ";
  CHECK(functions == "RegOpenKeyExW RegOpenKeyExW RegEnumKeyExW RegEnumKeyExW RegEnumKeyExW " + lookAtTime +
                         "RegOpenKeyExW RegOpenKeyExW RegEnumKeyExW RegDeleteKeyW " + lookAtTime);

  const auto fill = [&](int entries) {
    for (int index = 0; index < entries; ++index) {
      session.TimeEntry(winsim::FromUtf8("lapsed" + std::to_string(index)), TimeBytes(0));
    }
  };
  const std::uint64_t callsWithout = calls();
  fill(1);
  const std::uint64_t callsForOne = calls() - callsWithout;
  fill(500);
  CHECK(calls() - callsWithout == 500 * callsForOne);
}

TEST_CASE("attaching writes the entry that the client's file calls for") {
  RecordSession session;
  winsim::Registry& registry = session.registry;
  CreateFileAt(LocalFile);
  const std::string time = TimeText(session.Now());
  const std::string fileEntry = R"(client{File="C:\Program Files\app.exe" Mode=0})";
  const std::string timeEntry = "client{Mode=1 Time=" + time + "}";
  const auto remoteFromTime = [](RecordSession& s) {
    s.TimeEntry(u"client", TimeBytes(5));
    s.registry.SetNumber(RecordPath, u"Auto", 1);
  };
  const struct {
    std::string title;
    std::function<void(RecordSession&)> prepare;
    const wchar_t* file;
    unsigned int automatic;
    std::string record;
  } cases[] = {
      {"first claim, on demand", [](auto&) {}, LocalFile, 1, "Auto=1 " + fileEntry},
      {"first claim of a remote file", [](auto&) {}, RemoteFile, 0, "Auto=0 " + timeEntry},
      {"the flag is raised", [](auto& s) { s.registry.SetNumber(RecordPath, u"Auto", 0); }, RemoteFile, 0x100,
       "Auto=1 " + timeEntry},
      {"a strange flag is left alone", [](auto& s) { s.registry.SetString(RecordPath, u"Auto", u"x"); },
       LocalFile, 0, "Auto=\"x\" " + fileEntry},
      {"from a remote file to a local one", remoteFromTime, LocalFile, 0, "Auto=1 " + fileEntry},
      {"from a local file to a remote one",
       [](auto& s) {
         s.FileEntry(u"client", u"C:\\Program Files\\app.exe");
         s.registry.SetNumber(RecordPath, u"Auto", 0);
       },
       RemoteFile, 0, "Auto=0 " + timeEntry},
      {"a time is renewed", remoteFromTime, RemoteFile, 0, "Auto=1 " + timeEntry},
  };
  for (const auto& item : cases) {
    CAPTURE(item.title);
    registry.DeleteTree(RecordPath);
    item.prepare(session);
    Client(item.file).Attach(item.automatic);
    CHECK(session.Record() == item.record);
    CHECK(Client(item.file).IsAttached() == (item.record.find("Auto=\"") == std::string::npos));
    CHECK(Driver().Purge() == 0);
  }
}

TEST_CASE("only a file on a local fixed drive binds its client's entry") {
  RecordSession session;
  winsim::FileSystem& files = session.Machine().files;
  files.AddDrive(u'D', 3);
  files.AddDrive(u'E', 2);
  files.AddDrive(u'F', 5);
  files.AddDrive(u'G', 4);
  files.AddDrive(u'R', 6);
  files.AddShare(u"\\\\server\\share");
  files.Substitute(u'X', u"C:\\base");
  files.Substitute(u'Y', u"X:\\deep");
  files.Substitute(u'Z', u"E:\\base");
  const std::string byTime = "Mode=1 Time=" + TimeText(session.Now());
  const struct {
    const wchar_t* file;
    std::string entry;
  } cases[] = {
      {L"d:\\app.exe", R"(File="d:\app.exe" Mode=0)"},
      {L"\\\\?\\D:\\dir\\\\app.exe", R"(File="D:\dir\app.exe" Mode=0)"},
      {L"X:\\app.exe", R"(File="C:\base\app.exe" Mode=0)"},
      {L"Y:\\app.exe", R"(File="C:\base\deep\app.exe" Mode=0)"},
      {L"Z:\\app.exe", byTime},
      {L"E:\\app.exe", byTime},
      {L"F:\\app.exe", byTime},
      {L"G:\\app.exe", byTime},
      {L"R:\\app.exe", byTime},
      {L"\\\\server\\share\\app.exe", byTime},
  };
  for (const auto& item : cases) {
    session.registry.DeleteTree(ClientPath);
    Client(item.file).Attach(0);
    CHECK(RegistryText(session.registry, ClientPath) == item.entry);
    CHECK(Client(item.file).IsAttached() == 1);
  }
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

TEST_CASE("a driver without service key has no record to work on") {
  SystemSession session;
  GenericLifeTime client = Client(LocalFile);
  CHECK_THROWS_AS(client.IsAttached(), BaseLifeTime::ObjectNotFoundException);
  CHECK_THROWS_AS(client.IsAlreadyAttached(), BaseLifeTime::ObjectNotFoundException);
  CHECK_THROWS_AS(client.Attach(1), BaseLifeTime::ObjectNotFoundException);
  CHECK_THROWS_AS(client.Detach(), BaseLifeTime::ObjectNotFoundException);
  CHECK_THROWS_AS(client.Purge(), BaseLifeTime::ObjectNotFoundException);
  CHECK(client.IsExpired() == 1);
  CHECK(RegistryText(session.Machine().registry, ServicePath) == "none");
}

TEST_CASE("a lifetime without a client's identity is asserted where one is needed") {
  RecordSession session;
  for (const bool withUnique : {false, true}) {
    GenericLifeTime lifeTime(L"drv", withUnique ? L"client" : L"", L"");
    const char* const condition = withUnique ? "m_filePathName.Length() != 0" : "m_unique.Length() != 0";
    CHECK(FailedCondition([&] { lifeTime.IsAttached(); }) == condition);
    CHECK(FailedCondition([&] { lifeTime.IsAlreadyAttached(); }) == condition);
    CHECK(FailedCondition([&] { lifeTime.Attach(0); }) == condition);
    CHECK(FailedCondition([&] { lifeTime.Detach(); }) == (withUnique ? "nothing" : condition));
  }
}
