#include "system/Waiter.h"

#include <doctest/doctest.h>

#include "support/SystemSession.h"
#include "support/Threads.h"
#include "system/Mutex.h"

using namespace LCommon::System;

namespace {

LPtrRef<Mutex> NewMutex() {
  return LMakeRef<Mutex>(LUnicodeString(), Mutex::nsDefault, 0u, nullptr);
}

/// Milliseconds that `operation` takes.
template <class Operation>
DWORD Elapsed(Operation operation) {
  const DWORD start = GetTickCount();
  operation();
  return GetTickCount() - start;
}

/// A clock tick of a real machine is up to 16 ms long, and its threads start late.
bool IsAbout(DWORD elapsed, DWORD expected) {
  return elapsed + 20 >= expected && elapsed <= expected + 300;
}

}  // namespace

TEST_CASE("a waiter takes one to sixty-four objects") {
  SystemSession session;
  Waiter waiter;
  CHECK_THROWS_AS(waiter.Wait(0, 0, 0), Waiter::NoObjectsException);
  for (int count = 0; count < 64; ++count) {
    waiter.Add(NewMutex());
  }
  CHECK(waiter.Wait(0, 1, 0).Valid());
  waiter.Add(NewMutex());
  CHECK_THROWS_AS(waiter.Wait(0, 0, 0), Waiter::TooMuchObjectsException);
}

TEST_CASE("a wait ends with the object that ended it, or with null at its time") {
  SystemSession session;
  const LPtrRef<Mutex> held = NewMutex(), free = NewMutex(), abandoned = NewMutex();
  bool done = false;
  TestThread holder([&] {
    CHECK(held->Wait(0, 0));
    RunOnThread([&] { CHECK(abandoned->Wait(0, 0)); });
    while (!done)
      Pause(10);
    held->Leave();
  });
  Pause(50);

  Waiter two(held);
  CHECK(two.Wait(0, 0, 0).Get() == nullptr);
  two.Add(free);
  CHECK(two.Wait(INFINITE, 0, 0).Get() == free.Get());
  CHECK(IsAbout(Elapsed([&] { CHECK_FALSE(two.Wait(200, 1, 0).Valid()); }), 200));
  Waiter three(held);
  three.Add(abandoned);
  three.Add(free);
  CHECK(three.Wait(0, 0, 1).Get() == abandoned.Get());

  done = true;
  CHECK(two.Wait(INFINITE, 1, 1).Valid());
  holder.Join();
}

TEST_CASE("queued calls neither shorten nor lengthen an alertable wait") {
  SystemSession session;
  const LPtrRef<Mutex> mutex = NewMutex();
  bool leave = false;
  TestThread holder([&] {
    CHECK(mutex->Wait(0, 0));
    while (!leave)
      Pause(10);
    Pause(300);
    mutex->Leave();
  });
  Pause(50);

  QueueCallToThisThread(400);
  CHECK(IsAbout(Elapsed([&] { CHECK_FALSE(mutex->Wait(1000, 1)); }), 1000));
  QueueCallToThisThread(0);
  CHECK(IsAbout(Elapsed([&] { CHECK_FALSE(mutex->Wait(0, 1)); }), 0));
  QueueCallToThisThread(100);
  CHECK(IsAbout(Elapsed([&] { CHECK_FALSE(mutex->Wait(500, 0)); }), 500));

  leave = true;
  QueueCallToThisThread(200);
  CHECK(mutex->Wait(INFINITE, 1));
  mutex->Leave();
  holder.Join();
}
