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
