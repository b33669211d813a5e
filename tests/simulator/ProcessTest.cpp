#include <doctest/doctest.h>

#include <stdexcept>

#include "machine/ProgramImage.h"
#include "simulator/LastError.h"
#include "support/MachineSession.h"

using winsim::BesideThisProgram;
using winsim::LoadProgramImage;

namespace {

struct Started {
  DWORD error;
  PROCESS_INFORMATION information;
};

Started Start(const wchar_t* application, std::u16string commandLine, const wchar_t* directory = nullptr) {
  Started started = {};
  wchar_t line[200];
  winsim::CopyToWide(commandLine, line);
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  started.error = FailureOf([&] {
    return CreateProcessW(application, commandLine.empty() ? nullptr : line, nullptr, nullptr, FALSE, 0,
                          nullptr, directory, &startup, &started.information);
  });
  return started;
}

/// Waits for the end; the exit code.
DWORD Finish(const Started& started) {
  DWORD code = 0;
  CHECK(started.error == Untouched);
  CHECK(WaitForSingleObject(started.information.hProcess, INFINITE) == WAIT_OBJECT_0);
  CHECK(WaitForSingleObject(started.information.hThread, 0) == WAIT_OBJECT_0);
  CHECK(GetExitCodeProcess(started.information.hProcess, &code) == TRUE);
  CHECK((CloseHandle(started.information.hProcess) == TRUE &&
         CloseHandle(started.information.hThread) == TRUE));
  return code;
}

}  // namespace

TEST_CASE("a command line's program is found as Windows finds it") {
  MachineSession session;
  winsim::Machine& machine = session.Machine();
  std::u16string image;
  machine.programs[u"x.exe"] = [&] {
    image = winsim::Thread::Current().process->imagePath;
    return 7;
  };
  for (const char16_t* const file : {u"C:\\Windows\\system32\\x.exe", u"C:\\Program Files\\x.exe",
                                     u"C:\\x.exe", u"C:\\unknown.exe", u"C:\\tools\\x.exe"}) {
    machine.files.WriteFile(file, "MZ");
  }
  session.Process().environment[u"PATH"] = u"C:\\none;C:\\tools";
  const struct {
    const char16_t* commandLine;
    const char16_t* image;  // null: it fails
    DWORD error;
  } cases[] = {{u"x", u"C:\\Windows\\system32\\x.exe", 0},
               {u"X.EXE argument", u"C:\\Windows\\system32\\x.exe", 0},
               {u"\"C:\\Program Files\\x.exe\" a", u"C:\\Program Files\\x.exe", 0},
               {u"C:\\Program Files\\x a b", u"C:\\Program Files\\x.exe", 0},
               {u"\"C:\\x\"", u"C:\\x.exe", 0},
               {u"..\\..\\x.exe", u"C:\\x.exe", 0},
               {u"C:\\unknown.exe", nullptr, ERROR_BAD_EXE_FORMAT},
               {u"C:\\missing.exe a", nullptr, ERROR_FILE_NOT_FOUND},
               {u"missing", nullptr, ERROR_FILE_NOT_FOUND},
               {u"C:\\none\\x.exe", nullptr, ERROR_PATH_NOT_FOUND},
               {u"C:\\tools", nullptr, ERROR_ACCESS_DENIED}};
  for (const auto& test : cases) {
    CAPTURE(winsim::ToUtf8(test.commandLine));
    const auto& [commandLine, expected, error] = test;
    const Started started = Start(nullptr, commandLine);
    if (expected == nullptr) {
      CHECK(started.error == error);
    } else {
      CHECK(Finish(started) == 7);
      CHECK(winsim::ToUtf8(image) == winsim::ToUtf8(expected));
    }
  }
  machine.files.Remove(u"C:\\Windows\\system32\\x.exe");
  CHECK(Finish(Start(nullptr, u"x")) == 7);
  CHECK(winsim::ToUtf8(image) == "C:\\tools\\x.exe");

  CHECK(Finish(Start(L"C:\\x.exe", u"anything else")) == 7);
  CHECK(Start(L"C:\\x", {}).error == ERROR_FILE_NOT_FOUND);
  CHECK(Start(nullptr, {}).error == ERROR_INVALID_PARAMETER);
  CHECK(Start(L"C:\\x.exe", {}, L"C:\\none").error == ERROR_DIRECTORY);
  machine.files.Deny(u"C:\\x.exe");
  CHECK(Start(L"C:\\x.exe", {}).error == ERROR_ACCESS_DENIED);
}

TEST_CASE("a child runs beside its parent, with the parent's environment, and its file is in use") {
  MachineSession session;
  winsim::Machine& machine = session.Machine();
  machine.files.WriteFile(u"C:\\child.exe", "MZ");
  std::string seen;
  machine.programs[u"child.exe"] = [&] {
    char value[10] = {};
    GetEnvironmentVariableA("Inherited", value, sizeof value);
    seen = std::string(GetCommandLineA()) + "|" + value + "|" +
           winsim::ToUtf8(winsim::Thread::Current().process->currentDirectory);
    CreateMutexW(nullptr, FALSE, L"forgotten");
    WaitForSingleObject(GetCurrentProcess(), 500);
    return -1;
  };
  session.Process().environment[u"INHERITED"] = u"yes";
  session.Process().currentDirectory = u"C:\\Program Files";
  const Started started = Start(L"C:\\child.exe", u"child \u20AC");
  DWORD code = 0;
  CHECK(GetExitCodeProcess(started.information.hProcess, &code) == TRUE);
  CHECK(code == 259);
  CHECK(WaitForSingleObject(started.information.hProcess, 100) == WAIT_TIMEOUT);
  CHECK(seen == "child \x80|yes|C:\\Program Files");
  CHECK(FailureOf([] { return DeleteFileW(L"C:\\child.exe"); }) == ERROR_ACCESS_DENIED);
  CHECK(Finish(started) == 0xFFFFFFFF);
  CHECK(GetTickCount() == 500);
  CHECK(DeleteFileW(L"C:\\child.exe") == TRUE);
  CHECK(machine.leakedHandles == std::vector<std::string>{"child \u20AC: mutex forgotten"});
}

TEST_CASE("handles close once, and only where they belong") {
  MachineSession session;
  HKEY key = nullptr;
  CHECK(RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"System", 0, KEY_READ, &key) == 0);
  const HANDLE mutex = CreateMutexW(nullptr, FALSE, nullptr);
  DWORD code = 0;
  for (const HANDLE wrong : {HANDLE(), HANDLE(key), reinterpret_cast<HANDLE>(std::uintptr_t{0x12344})}) {
    CHECK(FailureOf([&] { return CloseHandle(wrong); }) == ERROR_INVALID_HANDLE);
    CHECK(FailureOf([&] { return GetExitCodeProcess(wrong, &code); }) == ERROR_INVALID_HANDLE);
  }
  CHECK(CloseHandle(mutex) == TRUE);
  CHECK(FailureOf([&] { return CloseHandle(mutex); }) == ERROR_INVALID_HANDLE);
  CHECK(CloseHandle(GetCurrentProcess()) == TRUE);
  CHECK((GetExitCodeProcess(GetCurrentProcess(), &code) == TRUE && code == 259));
  RegCloseKey(key);
}

TEST_CASE("a program image has globals of its own in every process") {
  const auto machine = MakeMachine();
  machine->programs[u"image.exe"] = LoadProgramImage(BesideThisProgram("simulator_test_program.so"));
  machine->files.WriteFile(u"C:\\Windows\\system32\\image.exe", "MZ");
  CHECK(machine->Run(u"image") == 100);
  CHECK(machine->Run(u"\"C:\\Windows\\system32\\image.exe\"  abc") == 103);
  const auto waiting = machine->StartProgram(machine->programs[u"image.exe"], u"image.exe w");
  CHECK(machine->Run(u"image ab") == 102);
  CHECK(waiting->ExitCode() == 101u);

  const auto message = [](auto call) -> std::string {
    try {
      call();
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "";
  };
  CHECK(message([] { LoadProgramImage("/nowhere.so"); }) == "/nowhere.so cannot be read.");
  CHECK(message([] {
          LoadProgramImage(BesideThisProgram("libwindows_api.so"));
        }).ends_with(" has no WinMain."));
  CHECK(message([&] { LoadProgramImage("/proc/self/maps"); }).find("cannot be loaded: ") !=
        std::string::npos);
  CHECK(message([&] { machine->Run(u"nothing"); }).find("there is no such file (error 2).") !=
        std::string::npos);
  machine->programs.clear();
  CHECK(message([&] {
          machine->Run(u"image");
        }).find("does not know what C:\\Windows\\system32\\image.exe does") != std::string::npos);
}
