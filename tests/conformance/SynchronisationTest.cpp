#include "conformance/Facts.h"
#include "support/Threads.h"

namespace {

HANDLE Make(const wchar_t* name, BOOL owned = FALSE) {
  return CreateMutexW(nullptr, owned, name);
}

std::string WaitText(DWORD answer) {
  return answer == WAIT_FAILED ? "failed " + std::to_string(GetLastError()) : std::to_string(answer);
}

std::string Waited(HANDLE object, DWORD timeout = 0) {
  return ANSWER(WaitText, WaitForSingleObject(object, timeout));
}

std::string WaitedFor(const HANDLE* objects, DWORD count, BOOL all, DWORD timeout = 0,
                      BOOL alertable = FALSE) {
  return ANSWER(WaitText, WaitForMultipleObjectsEx(count, objects, all, timeout, alertable));
}

/// Leaves a mutex behind as one whose owner has ended.
void Abandon(HANDLE mutex) {
  RunOnThread([=] { CHECK(WaitForSingleObject(mutex, 0) == WAIT_OBJECT_0); });
}

}  // namespace

TEST_CASE("one mutex") {
  MachineSession session;
  const HANDLE global = Make(L"Global\\kvconf mutex");
  const HANDLE mutex = Make(L"kvconf mutex");
  Given("names of mutexes");
  OBJECT_FACT("object 0", Make(L"KVCONF mutex"));
  OBJECT_FACT("object 183", Make(L"Local\\kvconf mutex"));
  OBJECT_FACT("object 183", Make(L"Global\\kvconf mutex"));
  OBJECT_FACT("3", Make(L"kvnone\\mutex"));
  Given("free mutex");
  BOOL_FACT("FALSE 288", ReleaseMutex(mutex));
  OBJECT_FACT("object 183", Make(L"kvconf mutex", TRUE));  // who finds it there does not own it
  FACT("0", Waited(mutex));
  Given("own mutex");
  FACT("0", Waited(mutex));
  FACT("0", Waited(static_cast<char*>(mutex) + 3));  // the two lowest bits do not count
  CHECK(ReleaseMutex(mutex));
  Given("another thread's mutex");
  RunOnThread([&] {
    FACT("258", Waited(mutex));
    BOOL_FACT("FALSE 288", ReleaseMutex(mutex));
  });
  Given("mutex acquired twice and released once");
  BOOL_FACT("TRUE", ReleaseMutex(mutex));
  RunOnThread([&] { FACT("258", Waited(mutex)); });
  CHECK(ReleaseMutex(mutex));
  Given("mutex of a thread that ended");
  Abandon(mutex);
  FACT("128", Waited(mutex));
  CHECK((ReleaseMutex(mutex) && CloseHandle(mutex) && CloseHandle(global)));
  Given("mutex that its owner releases");
  const HANDLE owned = Make(nullptr, TRUE);
  TestThread waiter([&] { FACT("0", Waited(owned, INFINITE)); });
  Pause(20);
  CHECK(ReleaseMutex(owned));
  waiter.Join();
  CHECK(CloseHandle(owned));
}

TEST_CASE("several mutexes") {
  MachineSession session;
  const HANDLE mutexes[] = {Make(nullptr), Make(nullptr), Make(nullptr)};
  const HANDLE twice[] = {mutexes[0], mutexes[0]};
  const HANDLE self = GetCurrentProcess();
  Given("this process");
  FACT("258", Waited(self));
  FACT("failed 6", WaitedFor(&self, 1, FALSE));
  Given("free mutexes");
  FACT("failed 87", WaitedFor(twice, 2, TRUE));
  FACT("0", WaitedFor(mutexes, 3, TRUE));
  Given("another thread's mutexes");
  RunOnThread([&] {
    FACT("258", WaitedFor(mutexes, 3, FALSE, 20));
    QueueCallToThisThread(20);
    FACT("192", WaitedFor(mutexes, 3, FALSE, 10000, TRUE));
  });
  Given("the second mutex free");
  CHECK(ReleaseMutex(mutexes[1]));
  RunOnThread([&] { FACT("258", WaitedFor(mutexes, 3, TRUE)); });
  RunOnThread([&] { FACT("1", WaitedFor(mutexes, 3, FALSE)); });
  Given("the second mutex abandoned");
  RunOnThread([&] { FACT("129", WaitedFor(mutexes, 3, FALSE)); });
  FACT("128", WaitedFor(mutexes, 3, TRUE));
  CHECK((CloseHandle(mutexes[0]) && CloseHandle(mutexes[1]) && CloseHandle(mutexes[2])));
}
