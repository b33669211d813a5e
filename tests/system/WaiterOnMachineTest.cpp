#include <doctest/doctest.h>

#include <typeinfo>

#include "support/SystemSession.h"
#include "support/Threads.h"
#include "system/Mutex.h"
#include "system/Waiter.h"

using namespace LCommon::System;

TEST_CASE("an interrupted wait goes on for the time that is left") {
  SystemSession session;
  const LPtrRef<Mutex> mutex = LMakeRef<Mutex>(LUnicodeString(), Mutex::nsDefault, 0u, nullptr);
  TestThread holder([&] {
    CHECK(mutex->Wait(0, 0));
    Pause(5000);
    mutex->Leave();
  });
  Pause(1);
  const struct {
    unsigned int timeout;
    bool acquired;
    std::vector<unsigned int> calls;  // in milliseconds from the start
    DWORD elapsed;
    std::vector<std::string> waits;
  } cases[] = {
      {1000, false, {400, 999}, 1000, {"0x3E8", "0x258", "1"}},
      {1000, false, {1000}, 1000, {"0x3E8"}},
      {0, false, {0}, 0, {"0"}},
      {INFINITE, true, {100, 300}, 2999, {"0xFFFFFFFF", "0xFFFFFFFF", "0xFFFFFFFF"}},
  };
  for (const auto& each : cases) {
    session.Machine().gate.StartTrace();
    for (const unsigned int call : each.calls) {
      QueueCallToThisThread(call);
    }
    const DWORD start = GetTickCount();
    CHECK(mutex->Wait(each.timeout, 1) == each.acquired);
    CHECK(GetTickCount() - start == each.elapsed);
    std::vector<std::string> expected;
    for (const std::string& wait : each.waits) {
      expected.push_back("WaitForMultipleObjectsEx(1, 1, " + wait + ", 1)");
    }
    CHECK(session.Trace("WaitForMultipleObjectsEx") == expected);
  }
}

TEST_CASE("an answer that is neither an object nor the time-out is an exception of its own kind") {
  SystemSession session;
  const LPtrRef<Mutex> mutex = LMakeRef<Mutex>(LUnicodeString(), Mutex::nsDefault, 0u, nullptr);
  for (const unsigned int alertable : {0u, 1u}) {
    session.Machine().gate.FailFunction("WaitForMultipleObjectsEx", ERROR_INVALID_HANDLE);
    try {
      mutex->Wait(0, alertable);
      FAIL("the wait ended");
    } catch (const Waiter::Exception& exception) {
      CHECK(typeid(exception) == typeid(Waiter::Exception));
    }
  }
}
