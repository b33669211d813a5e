#include <doctest/doctest.h>

#include "simulator/LastError.h"
#include "support/MachineSession.h"
#include "support/Threads.h"

namespace {

/// Creates a mutex and closes it at once; the last error after the creation.
DWORD Create(const wchar_t* name) {
  SetLastError(Untouched);
  const HANDLE mutex = CreateMutexW(nullptr, FALSE, name);
  const DWORD error = GetLastError();
  if (mutex != nullptr) CloseHandle(mutex);
  return error;
}

DWORD WaitForAll(std::initializer_list<HANDLE> handles, DWORD timeout, bool alertable = false) {
  return WaitForMultipleObjectsEx(static_cast<DWORD>(handles.size()), handles.begin(), TRUE, timeout,
                                  alertable);
}

DWORD WaitForAny(std::initializer_list<HANDLE> handles, DWORD timeout, bool alertable = false) {
  return WaitForMultipleObjectsEx(static_cast<DWORD>(handles.size()), handles.begin(), FALSE, timeout,
                                  alertable);
}

}  // namespace

TEST_CASE("names of mutexes") {
  struct Case {
    const wchar_t* existing;
    const wchar_t* name;
    DWORD error;
  };
  const auto check = [](winsim::Settings settings, unsigned int ownSession,
                        std::initializer_list<Case> cases) {
    for (const Case& test : cases) {
      CAPTURE(winsim::ToUtf8(winsim::FromWide(test.name)));
      const auto& [existing, name, error] = test;
      MachineSession session(settings);
      session.Process().session = ownSession;
      const HANDLE first = existing == nullptr ? nullptr : CreateMutexW(nullptr, FALSE, existing);
      CHECK(Create(name) == error);
      if (first != nullptr) CloseHandle(first);
      CHECK(Create(name) == (error == ERROR_ALREADY_EXISTS ? 0 : error));
    }
  };
  check(winsim::Settings::Windows10(), 1,
        {{nullptr, L"a", 0},
         {L"a", L"a", ERROR_ALREADY_EXISTS},
         {L"a", L"A", 0},
         {L"a", L"Local\\a", ERROR_ALREADY_EXISTS},
         {L"a", L"Global\\a", 0},
         {L"Global\\a", L"Global\\a", ERROR_ALREADY_EXISTS},
         {L"", L"", 0},
         {nullptr, L"global\\a", ERROR_PATH_NOT_FOUND},
         {nullptr, L"Global\\a\\b", ERROR_PATH_NOT_FOUND}});
  check(winsim::Settings::Windows10(), 0, {{L"a", L"Global\\a", ERROR_ALREADY_EXISTS}});
  check(winsim::Settings::WindowsNt4(), 0,
        {{L"a", L"a", ERROR_ALREADY_EXISTS}, {nullptr, L"Global\\a", ERROR_PATH_NOT_FOUND}});
}

TEST_CASE("refused names, 8-bit names and 8-bit-only systems") {
  {
    MachineSession session;
    session.Machine().names.Deny(u"Global\\");
    CHECK(Create(L"Global\\x") == ERROR_ACCESS_DENIED);
    CHECK(Create(L"x") == ERROR_SUCCESS);
    const std::string longName(MAX_PATH, 'n');
    CHECK(FailureOf([&] { return CreateMutexA(nullptr, FALSE, longName.c_str()); }) ==
          ERROR_FILENAME_EXCED_RANGE);
    const HANDLE narrow = CreateMutexA(nullptr, FALSE, "n\xE9");
    CHECK(Create(L"n\u00E9") == ERROR_ALREADY_EXISTS);
    CloseHandle(narrow);
  }
  MachineSession session(winsim::Settings::Windows98());
  CHECK(Create(L"x") == ERROR_CALL_NOT_IMPLEMENTED);
  const HANDLE mutex = CreateMutexA(nullptr, FALSE, "x");
  CHECK(CloseHandle(mutex) == TRUE);
}

TEST_CASE("a mutex belongs to one thread, counts, and is abandoned by its end") {
  MachineSession session;
  const HANDLE mutex = CreateMutexW(nullptr, TRUE, nullptr);
  CHECK(WaitForSingleObject(mutex, 0) == WAIT_OBJECT_0);
  const auto fromOther = [&] {
    DWORD result = 0;
    RunOnThread([&] { result = WaitForSingleObject(mutex, 0); });
    return result;
  };
  CHECK(fromOther() == WAIT_TIMEOUT);
  CHECK(ReleaseMutex(mutex) == TRUE);
  CHECK(fromOther() == WAIT_TIMEOUT);
  RunOnThread([&] { CHECK(FailureOf([&] { return ReleaseMutex(mutex); }) == ERROR_NOT_OWNER); });
  CHECK(ReleaseMutex(mutex) == TRUE);
  CHECK(fromOther() == WAIT_OBJECT_0);  // and ends as the owner
  CHECK(WaitForSingleObject(mutex, 0) == WAIT_ABANDONED_0);
  CHECK(ReleaseMutex(mutex) == TRUE);
  CHECK(WaitForSingleObject(mutex, 0) == WAIT_OBJECT_0);
  CHECK(CloseHandle(mutex) == TRUE);
  CHECK(FailureOf([&] { return ReleaseMutex(mutex); }) == ERROR_INVALID_HANDLE);
}

TEST_CASE("waiting for several objects") {
  MachineSession session;
  const HANDLE a = CreateMutexW(nullptr, FALSE, nullptr);
  const HANDLE b = CreateMutexW(nullptr, FALSE, nullptr);
  TestThread holder([&] {
    WaitForSingleObject(a, 0);
    Pause(300);
  });
  Pause(0);  // the holder has a now, and leaves it abandoned after 300 ms

  CHECK(WaitForAny({a, b}, 0) == WAIT_OBJECT_0 + 1);
  ReleaseMutex(b);
  CHECK(WaitForAll({a, b}, 100) == WAIT_TIMEOUT);
  CHECK(GetTickCount() == 100);
  RunOnThread([&] { CHECK(WaitForSingleObject(b, 0) == WAIT_OBJECT_0); });  // not taken by the failed wait
  CHECK(WaitForSingleObject(b, 0) == WAIT_ABANDONED_0);
  ReleaseMutex(b);

  CHECK(WaitForAll({b, a}, INFINITE) == WAIT_ABANDONED_0);
  CHECK(GetTickCount() == 300);
  CHECK((ReleaseMutex(a) == TRUE && ReleaseMutex(b) == TRUE));
  CHECK(WaitForSingleObject(GetCurrentProcess(), 50) == WAIT_TIMEOUT);
  CHECK(GetTickCount() == 350);

  const HANDLE none = reinterpret_cast<HANDLE>(std::uintptr_t{4});
  const std::vector<HANDLE> many(65, a);
  const auto failure = [](auto call) { return FailureOf(WAIT_FAILED, call); };
  CHECK(failure([&] { return WaitForMultipleObjectsEx(0, many.data(), FALSE, 0, FALSE); }) == 87);
  CHECK(failure([&] { return WaitForMultipleObjectsEx(65, many.data(), FALSE, 0, FALSE); }) == 87);
  CHECK(failure([&] { return WaitForAll({a, a}, 0); }) == 87);
  CHECK(failure([&] { return WaitForAny({a, none}, 0); }) == 6);
  CHECK(failure([&] { return WaitForSingleObject(none, 0); }) == 6);
  holder.Join();
  CloseHandle(a);
  CloseHandle(b);
}

TEST_CASE("an asynchronous call ends an alertable wait, unless an object does") {
  MachineSession session;
  const HANDLE process = GetCurrentProcess();
  const HANDLE free = CreateMutexW(nullptr, FALSE, nullptr);
  QueueCallToThisThread(400);
  QueueCallToThisThread(400);
  CHECK(WaitForAny({process}, 100, true) == WAIT_TIMEOUT);
  CHECK(WaitForAny({process}, 1000, true) == WAIT_IO_COMPLETION);  // both calls at once
  CHECK(GetTickCount() == 400);
  QueueCallToThisThread(0);
  CHECK(WaitForAny({process, free}, 0, true) == WAIT_OBJECT_0 + 1);
  CHECK(WaitForAny({process}, 0) == WAIT_TIMEOUT);
  CHECK(WaitForAny({process}, 0, true) == WAIT_IO_COMPLETION);
  CHECK(WaitForAny({process}, 0, true) == WAIT_TIMEOUT);
  CloseHandle(free);
}

TEST_CASE("a wait that nothing can end, and one that the power loss ends") {
  MachineSession session;
  const auto wait = [] { return WaitForSingleObject(GetCurrentProcess(), INFINITE); };
  CHECK(FailureOf(WAIT_FAILED, wait) == ERROR_POSSIBLE_DEADLOCK);
  DWORD error = 0;
  TestThread waiting([&] { error = FailureOf(WAIT_FAILED, wait); });
  Pause(0);
  session.Machine().gate.CutPowerAt(1);
  CHECK(FailureOf([] { return CreateMutexW(nullptr, FALSE, nullptr); }) == ERROR_NOT_READY);
  waiting.Join();
  CHECK(error == ERROR_NOT_READY);
  session.Machine().gate.Restore();
}

TEST_CASE("a critical section is entered in turn") {
  MachineSession session;
  CRITICAL_SECTION section;
  InitializeCriticalSection(&section);
  std::string order;
  const auto visit = [&](const char* first, const char* second) {
    EnterCriticalSection(&section);
    EnterCriticalSection(&section);
    order += first;
    Pause(10);
    order += second;
    LeaveCriticalSection(&section);
    LeaveCriticalSection(&section);
  };
  TestThread other([&] { visit("c", "d"); });
  visit("a", "b");
  other.Join();
  CHECK(order == "abcd");
  DeleteCriticalSection(&section);
}
