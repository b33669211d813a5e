#include "system/Mutex.h"

#include <doctest/doctest.h>

#include "support/SystemSession.h"
#include "support/Threads.h"
#include "support/Throws.h"

using namespace LCommon::System;

namespace {

LPtrRef<Mutex> Open(const wchar_t* name) {
  return LMakeRef<Mutex>(name, Mutex::nsLocal, 0u, nullptr);
}

}  // namespace

TEST_CASE("a mutex excludes other threads until its owner has left it as often as it took it") {
  SystemSession session;
  const LPtrRef<Mutex> mutex = Open(L"kv test exclusion");
  CHECK(mutex->Wait(0, 0));
  CHECK(mutex->Wait(INFINITE, 0));

  const auto otherThread = [&](bool expected) {
    RunOnThread([&] {
      const bool acquired = Open(L"kv test exclusion")->Wait(0, 0);
      CHECK(acquired == expected);
      const std::string notOwner = Exactly<Mutex::Exception>(288);
      CHECK(Thrown([&] { mutex->Leave(); }) == (expected ? "nothing" : notOwner));
    });
  };
  otherThread(false);
  mutex->Leave();
  otherThread(false);
  mutex->Leave();
  otherThread(true);
  CHECK(Thrown([&] { mutex->Leave(); }) == Exactly<Mutex::Exception>(288));
}

TEST_CASE("only a name makes a mutex a shared one, and initializing again replaces it") {
  SystemSession session;
  const LPtrRef<Mutex> first = Open(L"");
  CHECK(first->Wait(0, 0));
  RunOnThread([] { CHECK(Open(L"")->Wait(0, 0)); });

  const LPtrRef<Mutex> named = Open(L"kv test named");
  first->Initialize(L"kv test named", Mutex::nsLocal, 0, nullptr);
  CHECK(first->Wait(0, 0));
  RunOnThread([&] { CHECK_FALSE(named->Wait(0, 0)); });
  first->Leave();
}
