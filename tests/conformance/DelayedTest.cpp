#include "conformance/Facts.h"

// Operations that are left to the next start. They wait in the registry in pairs of texts.

TEST_CASE("operations for the next start") {
  MachineSession session;
  constexpr wchar_t Key[] = L"System\\CurrentControlSet\\Control\\Session Manager";
  constexpr wchar_t List[] = L"PendingFileRenameOperations";
  constexpr DWORD Delay = MOVEFILE_DELAY_UNTIL_REBOOT;
  const Wide path = InWindows(L"kvnone");
  const Wide target = InWindows(L"kvnone2");
  const std::string source = "\\??\\" + Narrow(path);
  HKEY key = nullptr;
  RegCreateKeyExW(HKEY_LOCAL_MACHINE, Key, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
  REQUIRE(Stored(Key, List) == "2");  // or others' operations would be lost
  Given("delayed operations");        // whether there is such a file is seen at the next start
  BOOL_FACT("TRUE", MoveFileExW(path, nullptr, Delay));
  BOOL_FACT("TRUE", MoveFileExW(path, target, Delay));
  BOOL_FACT("TRUE", MoveFileExW(path, target, Delay | MOVEFILE_REPLACE_EXISTING));
  BOOL_FACT("TRUE", MoveFileExW(InWindows(L"x/..\\kvnone"), nullptr, Delay));
  FACT("7, " + source + "||" + source + "|" + source + "2|" + source + "|!" + source + "2|" + source + "|||",
       Stored(Key, List));
  BOOL_FACT("FALSE 3", MoveFileExW(L"", nullptr, Delay));
  BOOL_FACT("FALSE 87", MoveFileExW(path, target, Delay | MOVEFILE_COPY_ALLOWED));
  STATUS_FACT("0", RegDeleteValueW(key, List));
  CHECK(RegCloseKey(key) == 0);
}
