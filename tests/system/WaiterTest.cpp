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

}  // namespace

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
  CHECK_FALSE(two.Wait(200, 1, 0).Valid());
  Waiter three(held);
  three.Add(abandoned);
  three.Add(free);
  CHECK(three.Wait(0, 0, 1).Get() == abandoned.Get());

  done = true;
  CHECK(two.Wait(INFINITE, 1, 1).Valid());
  holder.Join();
}
