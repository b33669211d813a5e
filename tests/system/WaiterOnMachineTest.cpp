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
  });
  Pause(1);
  session.Machine().gate.StartTrace();
  QueueCallToThisThread(400);
  QueueCallToThisThread(999);
  const DWORD start = GetTickCount();
  CHECK_FALSE(mutex->Wait(1000, 1));
  CHECK(GetTickCount() - start == 1000);
  CHECK(session.Trace("WaitForMultipleObjectsEx") ==
        std::vector<std::string>{"WaitForMultipleObjectsEx(1, 1, 0x3E8, 1)",
                                 "WaitForMultipleObjectsEx(1, 1, 0x258, 1)",
                                 "WaitForMultipleObjectsEx(1, 1, 1, 1)"});
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
