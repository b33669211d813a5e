#include "drivermanagement/Lock.h"

#include <doctest/doctest.h>

#include "support/SystemSession.h"
#include "support/Threads.h"
#include "system/Mutex.h"

using namespace DriverManagement;
using LCommon::System::Mutex;

namespace {

constexpr const wchar_t* Name = L"{E06A1434-144A-4C05-B8EA-F3E3F4216C47}";

// Whether a thread other than the caller's gets the mutex of that name without waiting.
bool IsFree(Mutex::NsType ns = Mutex::nsGlobal) {
  bool taken = false;
  RunOnThread([&] {
    Mutex mutex(Name, ns, 0, nullptr);
    taken = mutex.Wait(0, 0);
    if (taken) mutex.Leave();
  });
  return taken;
}

}  // namespace

TEST_CASE("the installation lock is one recursive mutex for everybody") {
  SystemSession session;
  Lock first;
  Lock second;
  CHECK(IsFree());
  first.Enter();
  second.Enter();
  CHECK_FALSE(IsFree());
  first.Leave();
  CHECK_FALSE(IsFree());
  second.Leave();
  CHECK(IsFree());
  CHECK_THROWS_AS(second.Leave(), Mutex::Exception);
}

TEST_CASE("a locker holds the lock to the end of its scope, whoever held it before") {
  SystemSession session;
  const auto lock = LMakeRef<Lock>();
  RunOnThread([&] { lock->Enter(); });  // a holder that dies
  try {
    const Locker locker(LMakeRef<Lock>());
    CHECK_FALSE(IsFree());
    throw 1;
  } catch (int) {
    CHECK(IsFree());
  }
  const Locker nothing{LPtrRef<Lock>()};
  CHECK(IsFree());
}
