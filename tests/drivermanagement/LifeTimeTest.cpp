#include "drivermanagement/LifeTime.h"

#include <doctest/doctest.h>

#include "LifeTimeRecord.h"
#include "support/Throws.h"

using namespace DriverManagement;
using LCommon::System::RegistryKey;

namespace {

constexpr std::uint64_t OneHour = 36'000'000'000;

// The record, with "now" for times since `start`.
std::string RecordSince(std::uint64_t start, RecordSession& session) {
  std::string text = session.Record();
  const std::size_t at = text.find("Time=") + 5;
  if (at < 5) return text;
  std::uint64_t time = 0;
  for (unsigned int index = 8; index-- > 0;)
    time = time << 8 | std::stoul(text.substr(at + 2 * index, 2), nullptr, 16);
  return start <= time && time <= session.Now() ? text.replace(at, 16, "now") : text;
}

}  // namespace

TEST_CASE("purging deletes exactly the lapsed entries") {
  RecordSession session;
  const std::uint64_t now = session.Now();
  const TestFile there;
  there.Write(std::string("x"));
  const LUnicodeString missing = InWindows(L"kvdel01 none");
  session.SetAuto(1);

  session.FileEntry(L"alive file", there.name);
  session.FileEntry(L"alive folder", LCommon::System::Manager::Instance().GetSystemDirectoryA());
  session.TimeEntry(L"alive now", TimeBytes(now));
  session.TimeEntry(L"alive for an hour", TimeBytes(now - ThirtyDays + OneHour));
  session.TimeEntry(L"alive later", TimeBytes(now + ThirtyDays));
  const std::string alive = session.Record();

  session.FileEntry(L"file gone", missing);
  session.FileEntry(L"file below nothing", missing + L"\\none");
  session.FileEntry(L"file empty", L"");
  session.Entry(L"file missing", 0);
  session.Entry(L"file mistyped", 0)->SetExpandStringValue(L"File", there.name);
  session.TimeEntry(L"time over", TimeBytes(now - ThirtyDays));
  session.TimeEntry(L"time short", LBuffer(&now, 7));
  session.TimeEntry(L"time long", LBuffer(L"\xFFFF\xFFFF\xFFFF\xFFF", 9));
  session.TimeEntry(L"time past the end of counting", TimeBytes(~std::uint64_t{0}));
  session.Entry(L"time mistyped", 1)->SetInt32Value(L"Time", 0x7FFFFFFF);
  session.Entry(L"time missing", 1);
  for (const wchar_t* const name : {L"mode unknown", L"mode missing", L"mode mistyped", L"mode short"})
    session.FileEntry(name, there.name);
  session.Entry(L"mode unknown", 2);
  session.Entry(L"mode missing", 0)->DeleteValue(L"Mode");
  session.Entry(L"mode mistyped", 0)->SetStringValue(L"Mode", L"0");
  session.Entry(L"mode short", 0)->SetValue(L"Mode", LMakeRef<RegistryKey::Value>(4u, LBuffer("\0", 2)));
  auto deep = session.service.Make(L"LifeTime\\empty");
  for (int level = 0; level < 500; ++level) {
    deep = deep->Create(L"x", KEY_ALL_ACCESS);  // almost as deep as registries are
  }

  CHECK(Driver().Purge() == 0);
  CHECK(session.Record() == alive);
  there.Remove();
  CHECK(Driver().Purge() == 0);
  CHECK(session.Record().find("alive file{") == std::string::npos);
  CHECK(session.Record().find("alive folder{") != std::string::npos);
}

TEST_CASE("only a driver that was installed on demand and that no entry keeps may go") {
  const std::string stays = "needed, stays, needed", goes = "expired, goes, expired";
  const auto check = [](const char* title, const std::string& answers, auto prepare) {
    CAPTURE(title);
    RecordSession session;
    prepare(session);
    const auto expired = [] { return Driver().IsExpired() ? "expired" : "needed"; };
    const std::string before = expired(), purge = Driver().Purge() ? ", goes, " : ", stays, ";
    CHECK(before + purge + expired() == answers);
  };
  const auto flag = [](std::uint32_t value) {
    return [=](RecordSession& session) { session.SetAuto(value); };
  };
  check("no record", stays, [](RecordSession&) {});
  check("an empty record", stays, [](RecordSession& session) { session.service.Make(L"LifeTime"); });
  check("not on demand", stays, flag(0));
  check("on demand", goes, flag(1));
  check("on demand, with another number", goes, flag(9));
  check("a mistyped flag", stays, [](RecordSession&) { MakeKey(RecordPath)->SetStringValue(L"Auto", L"1"); });
  check("a lapsed entry counts until it is purged", "needed, goes, expired", [](RecordSession& session) {
    session.SetAuto(1);
    MakeKey(ClientPath);
  });
}

TEST_CASE("attaching writes the entry that the client's file calls for") {
  RecordSession session;
  const std::uint64_t start = session.Now();
  const std::string fileEntry = R"(client{File="C:\Program Files\app.exe" Mode=0})";
  const std::string timeEntry = "client{Mode=1 Time=now}";
  const auto check = [&](const char* title, const std::string& record, const wchar_t* file,
                         unsigned int automatic, auto prepare) {
    CAPTURE(title);
    DeleteKey(RecordPath);
    prepare();
    Client(file).Attach(automatic);
    CHECK(RecordSince(start, session) == record);
    CHECK(Client(file).IsAttached() == (record.find("Auto=\"") == std::string::npos));
  };
  const auto fromTime = [&] { session.TimeEntry(L"client", TimeBytes(5)), session.SetAuto(1); };
  const auto fromFile = [&] { session.FileEntry(L"client", LocalFile), session.SetAuto(0); };
  check("first claim, on demand", "Auto=1 " + fileEntry, LocalFile, 1, [] {});
  check("first claim of a remote file", "Auto=0 " + timeEntry, RemoteFile, 0, [] {});
  check("the flag is raised", "Auto=1 " + timeEntry, RemoteFile, 0x100, [&] { session.SetAuto(0); });
  check("a strange flag is left alone", "Auto=\"x\" " + fileEntry, LocalFile, 0,
        [] { MakeKey(RecordPath)->SetStringValue(L"Auto", L"x"); });
  check("from a remote file to a local one", "Auto=1 " + fileEntry, LocalFile, 0, fromTime);
  check("from a local file to a remote one", "Auto=0 " + timeEntry, RemoteFile, 0, fromFile);
  check("a time is renewed", "Auto=1 " + timeEntry, RemoteFile, 0, fromTime);
}

TEST_CASE("a claim counts only in the form in which it would be made now") {
  RecordSession session;
  const auto attached = [](const wchar_t* file) -> std::string {
    return !Client(file).IsAttached()         ? "not attached"
           : Client(file).IsAlreadyAttached() ? "attached"
                                              : "to be renewed";
  };
  CHECK(attached(LocalFile) == "not attached");
  Client(LocalFile).Attach(0);
  CHECK(attached(LocalFile) == "attached");
  CHECK(attached(L"c:/PROGRAM files\\\\APP.exe") == "attached");
  CHECK(attached(L"C:\\other.exe") == "not attached");
  CHECK(attached(RemoteFile) == "not attached");
  const std::string record = session.Record();
  Client(L"C:\\PROGRAM FILES\\app.exe").Attach(1);
  CHECK(session.Record() == record);

  Client(RemoteFile).Attach(0);
  CHECK(attached(RemoteFile) == "to be renewed");  // who may write always renews
  CHECK(attached(LocalFile) == "not attached");
}

TEST_CASE("detaching takes back the client's own entry and nothing else") {
  RecordSession session;
  Client(RemoteFile).Detach();
  CHECK(session.Record() == "none");
  session.TimeEntry(L"other", TimeBytes(0));
  session.SetAuto(1);
  const std::string record = session.Record();
  Client(RemoteFile).Detach();
  Client(RemoteFile).Attach(0);
  session.service.Make(L"LifeTime\\client\\below");
  CHECK(session.Record() != record);
  GenericLifeTime(L"kvtest", L"CLIENT", L"").Detach();
  CHECK(session.Record() == record);
}

TEST_CASE("without service key there is no record, without identity no claim") {
  RecordSession session;
  DeleteKey(ServicePath);
  GenericLifeTime client = Client(LocalFile);
  CHECK_THROWS_AS(client.IsAttached(), BaseLifeTime::ObjectNotFoundException);
  CHECK_THROWS_AS(client.Attach(1), BaseLifeTime::ObjectNotFoundException);
  CHECK_THROWS_AS(client.Detach(), BaseLifeTime::ObjectNotFoundException);
  CHECK_THROWS_AS(client.Purge(), BaseLifeTime::ObjectNotFoundException);
  CHECK(client.IsExpired() == 1);
  CHECK(RegistryText(ServicePath) == "none");
  CHECK(Thrown([] { Driver().IsAttached(); }) == "m_unique.Length() != 0");
  CHECK(Thrown([] { Driver().Detach(); }) == "m_unique.Length() != 0");
  CHECK(Thrown([] { Client(L"").Attach(0); }) == "m_filePathName.Length() != 0");
}
