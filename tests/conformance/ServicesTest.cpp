#include "conformance/Facts.h"

#include <algorithm>

namespace {

constexpr wchar_t Name[] = L"kvconf";
constexpr wchar_t OtherName[] = L"kvconf2";
constexpr DWORD Driver = SERVICE_KERNEL_DRIVER;

/// What CreateService is asked for.
struct Entry {
  const wchar_t* name = Name;
  const wchar_t* displayName = nullptr;
  DWORD type = SERVICE_WIN32_OWN_PROCESS;
  DWORD start = SERVICE_DEMAND_START;
  const wchar_t* path = L"C:\\kvnone.exe";
  const wchar_t* dependencies = nullptr;
};

SC_HANDLE Create(SC_HANDLE manager, const Entry& entry) {
  return CreateServiceW(manager, entry.name, entry.displayName, SERVICE_ALL_ACCESS, entry.type, entry.start,
                        SERVICE_ERROR_NORMAL, entry.path, nullptr, nullptr, entry.dependencies, nullptr,
                        nullptr);
}

/// The service control manager, without the services of these facts before and after.
struct Manager {
  Manager() { RemoveAll(); }
  ~Manager() {
    RemoveAll();
    CloseServiceHandle(handle);
  }
  operator SC_HANDLE() const { return handle; }

  void RemoveAll() const {
    for (const wchar_t* const name : {Name, OtherName}) {
      if (const SC_HANDLE service = OpenServiceW(handle, name, DELETE)) {
        DeleteService(service);
        CloseServiceHandle(service);
      }
    }
  }

  const SC_HANDLE handle = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
};

BOOL Change(SC_HANDLE service, const wchar_t* displayName, DWORD start = SERVICE_NO_CHANGE,
            const wchar_t* dependencies = nullptr) {
  return ChangeServiceConfigW(service, SERVICE_NO_CHANGE, start, SERVICE_NO_CHANGE, nullptr, nullptr, nullptr,
                              dependencies, nullptr, nullptr, displayName);
}

BOOL Describe(SC_HANDLE service) {
  wchar_t text[] = L"described";
  SERVICE_DESCRIPTIONW description = {text};
  return ChangeServiceConfig2W(service, SERVICE_CONFIG_DESCRIPTION, &description);
}

BOOL Start(SC_HANDLE service) {
  return StartServiceW(service, 0, nullptr);
}

BOOL Stop(SC_HANDLE service) {
  SERVICE_STATUS status = {};
  return ControlService(service, SERVICE_CONTROL_STOP, &status);
}

/// "path, dependencies, account, name", or what reading into `size` bytes answers.
std::string Config(SC_HANDLE service, DWORD size = 2048) {
  alignas(QUERY_SERVICE_CONFIGW) BYTE buffer[2048];
  auto* const config = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(buffer);
  DWORD needed = 0;
  const std::string answer = ANSWER(BoolText, QueryServiceConfigW(service, config, size, &needed));
  if (answer != "TRUE") return answer + (needed > sizeof(*config) ? ", more" : "");
  unsigned int length = 0;
  while (config->lpDependencies[length] != 0) {
    length += static_cast<unsigned int>(Narrow(config->lpDependencies + length).size()) + 1;
  }
  return Narrow(config->lpBinaryPathName) + ", " + Narrow(config->lpDependencies, length) + ", " +
         Narrow(config->lpServiceStartName) + ", " + Narrow(config->lpDisplayName);
}

std::string Kept(const wchar_t* value) {
  return Stored(Wide() + L"System\\CurrentControlSet\\Services\\" + Name, value);
}

}  // namespace

TEST_CASE("services") {
  MachineSession session;
  const Manager manager;
  Wide longName;
  std::fill_n(longName.units, 257, L'a');
  Given("no service");
  SC_HANDLE service = nullptr;
  LEFT_FACT("0", (service = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT)) != nullptr);
  CHECK(CloseServiceHandle(service));
  SERVICE_FACT("1060", OpenServiceW(manager, Name, SERVICE_START));
  SERVICE_FACT("123", OpenServiceW(manager, L"", SERVICE_START));
  SERVICE_FACT("123", OpenServiceW(manager, L"a/b", SERVICE_START));
  SERVICE_FACT("123", OpenServiceW(manager, longName, SERVICE_START));
  const struct {
    const char* what;
    Entry entry;
    const char* expected;
  } created[] = {{"no name", {.name = nullptr}, "487"},
                 {"backslash in the name", {.name = L"a\\b"}, "123"},
                 {"empty path", {.path = L""}, "87"},
                 {"driver and program", {.type = Driver | SERVICE_WIN32_OWN_PROCESS}, "87"},
                 {"program started by the loader", {.start = SERVICE_BOOT_START}, "87"},
                 {"depends on itself", {.dependencies = L"kvconf\0"}, "1059"},
                 {"another's display name", {.displayName = L"Kv Conformance"}, "service"},
                 {"another's name displayed", {.displayName = L"KVCONF2"}, "1078"}};
  for (const auto& row : created) {
    Given(row.what);
    const SC_HANDLE other = Create(manager, {.name = OtherName, .displayName = L"KV conformance"});
    SERVICE_FACT(row.expected, Create(manager, row.entry));
    CHECK(CloseServiceHandle(other));
    manager.RemoveAll();
  }

  service = Create(manager, {});
  REQUIRE(service != nullptr);
  Given("program");
  SERVICE_FACT("1073", Create(manager, {.name = L"KVCONF"}));
  FACT("C:\\kvnone.exe, , LocalSystem, kvconf", Config(service));
  FACT("FALSE 122, more", Config(service, 4));
  FACT("2, C:\\kvnone.exe|", Kept(L"ImagePath"));
  SERVICE_STATUS status = {};
  BOOL_FACT("TRUE", QueryServiceStatus(service, &status));
  FACT("1, 1077", std::to_string(status.dwCurrentState) + ", " + std::to_string(status.dwWin32ExitCode));
  BOOL_FACT("FALSE 1062", Stop(service));
  BOOL_FACT("FALSE 2", Start(service));
  BOOL_FACT("TRUE", Describe(service));
  BOOL_FACT("TRUE", Change(service, L"Kv Name", SERVICE_NO_CHANGE, L"kvconf3\0+Group\0"));
  Given("changed program");
  FACT("1, described|", Kept(L"Description"));
  FACT("7, kvconf3||", Kept(L"DependOnService"));
  FACT("C:\\kvnone.exe, kvconf3|+Group|, LocalSystem, Kv Name", Config(service));
  BOOL_FACT("FALSE 1075", Start(service));
  BOOL_FACT("TRUE", Change(service, nullptr, SERVICE_DISABLED, L"\0"));
  Given("disabled program");
  BOOL_FACT("FALSE 1058", Start(service));
  CHECK(CloseServiceHandle(service));
  Given("handle without rights");
  service = OpenServiceW(manager, Name, SERVICE_USER_DEFINED_CONTROL);
  BOOL_FACT("FALSE 5", Change(service, nullptr));
  BOOL_FACT("FALSE 5", Start(service));
  BOOL_FACT("FALSE 5", Stop(service));
  BOOL_FACT("FALSE 5", DeleteService(service));
  BOOL_FACT("FALSE 5", QueryServiceStatus(service, &status));
  BOOL_FACT("FALSE 487", QueryServiceStatus(service, nullptr));
  CHECK(CloseServiceHandle(service));
  manager.RemoveAll();

  Given("driver");
  service = Create(manager, {.type = Driver, .path = L"C:\\kvnone.sys"});
  FACT("\\??\\C:\\kvnone.sys, , , kvconf", Config(service));
  FACT("2", Kept(L"ObjectName"));
  BOOL_FACT("FALSE 2", Start(service));
  BOOL_FACT("FALSE 1062", Stop(service));
  CHECK((DeleteService(service) && CloseServiceHandle(service)));
  Given("driver in a missing folder");
  service = Create(manager, {.type = Driver, .path = L"C:\\kvnone\\d.sys"});
  BOOL_FACT("FALSE 3", Start(service));
  CHECK((DeleteService(service) && CloseServiceHandle(service)));

  Given("marked service");
  service = Create(manager, {.displayName = L"Kv Conformance"});
  BOOL_FACT("TRUE", DeleteService(service));
  SERVICE_FACT("service", OpenServiceW(manager, Name, SERVICE_ALL_ACCESS));
  SERVICE_FACT("1072", Create(manager, {}));
  BOOL_FACT("FALSE 1072", Change(service, nullptr));
  BOOL_FACT("FALSE 1072", Start(service));
  BOOL_FACT("FALSE 1062", Stop(service));
  FACT("4, 1", Kept(L"DeleteFlag"));
  FACT("4, 4", Kept(L"Start"));
  CHECK(CloseServiceHandle(service));
  Given("deleted service");
  SERVICE_FACT("1060", OpenServiceW(manager, Name, SERVICE_START));
  FACT("no key", Kept(L"Type"));
}

TEST_CASE("services that 32-bit processes make on 64-bit Windows") {
  Wow64Session session;
  BOOL isWow64 = FALSE;
  reinterpret_cast<BOOL(WINAPI*)(HANDLE, BOOL*)>(reinterpret_cast<void (*)()>(
      GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "IsWow64Process")))(GetCurrentProcess(), &isWow64);
  if (isWow64 == FALSE) return;  // the 32-bit tests ask
  const Manager manager;
  const Wide path = InWindows(L"system32\\kvconf.exe");  // for this process that is in SysWOW64
  const SC_HANDLE service = Create(manager, {.path = path});
  const struct {
    const char* what;
    Wide file;
    const char* expected;
  } rows[] = {{"program in the real directory of the system", InWindows(L"Sysnative\\kvconf.exe"), "FALSE 2"},
              {"empty program in SysWOW64", path, "FALSE 193"}};
  for (const auto& row : rows) {
    CHECK(CloseHandle(CreateFileW(row.file, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr)));
    Given(row.what);
    BOOL_FACT(row.expected, Start(service));
    CHECK(DeleteFileW(row.file));
  }
  CHECK(CloseServiceHandle(service));
}
