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

DWORD Wait(BOOL forAll, std::initializer_list<HANDLE> handles, DWORD timeout) {
  return WaitForMultipleObjectsEx(static_cast<DWORD>(handles.size()), handles.begin(), forAll, timeout,
                                  FALSE);
}

}  // namespace

TEST_CASE("names of mutexes") {
  const struct {
    unsigned int ownSession;
    const wchar_t *existing, *name;
    DWORD error;
  } cases[] = {{1, L"a", L"a", 183},         {1, L"a", L"A", 0},
               {1, L"a", L"Local\\a", 183},  {1, L"a", L"Global\\a", 0},
               {1, L"x", L"global\\a", 3},   {1, L"x", L"Global\\a\\b", 3},
               {0, L"a", L"Global\\a", 183}, {1, L"", L"", 0}};
  for (const auto& test : cases) {
    CAPTURE(&test - cases);
    MachineSession session;
    session.Process().session = test.ownSession;
    const HANDLE first = CreateMutexW(nullptr, FALSE, test.existing);
    CHECK(Create(test.name) == test.error);
    CloseHandle(first);
    CHECK(Create(test.name) == (test.error == ERROR_ALREADY_EXISTS ? 0 : test.error));
  }
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

  CHECK(Wait(FALSE, {a, b}, 0) == WAIT_OBJECT_0 + 1);
  ReleaseMutex(b);
  CHECK(Wait(TRUE, {a, b}, 100) == WAIT_TIMEOUT);
  CHECK(GetTickCount() == 100);
  RunOnThread([&] { CHECK(WaitForSingleObject(b, 0) == WAIT_OBJECT_0); });  // not taken by the failed wait
  CHECK(WaitForSingleObject(b, 0) == WAIT_ABANDONED_0);
  ReleaseMutex(b);

  CHECK(Wait(TRUE, {b, a}, INFINITE) == WAIT_ABANDONED_0);
  CHECK(GetTickCount() == 300);
  CHECK((ReleaseMutex(a) == TRUE && ReleaseMutex(b) == TRUE));
  const HANDLE none = reinterpret_cast<HANDLE>(std::uintptr_t{4});
  CHECK(FailureOf(WAIT_FAILED, [&] { return Wait(TRUE, {a, a}, 0); }) == 87);
  CHECK(FailureOf(WAIT_FAILED, [&] { return Wait(FALSE, {a, none}, 0); }) == 6);
  holder.Join();
  CloseHandle(a);
  CloseHandle(b);
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
