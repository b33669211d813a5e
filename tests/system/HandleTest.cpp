#include "system/Handle.h"

#include <doctest/doctest.h>

#include "foundation/PtrRef.h"
#include "support/SystemSession.h"
#include "system/PlatformApi.h"

using namespace LCommon::System;

TEST_CASE("a handle object closes what it owns once, and only real handles") {
  SystemSession session;
  const auto newMutex = [] { return CreateMutexU(nullptr, FALSE, nullptr); };
  {
    LPtrRef<Handle> first = LMakeRef<Handle>(newMutex());
    CHECK(first->IsValid());
    LPtrRef<Handle> second = first;
    first = nullptr;
    CHECK(session.Trace("CloseHandle").size() == 0);
    CHECK(second->Adopt(newMutex()));
    CHECK(session.Trace("CloseHandle").size() == 1);
    CHECK_FALSE(second->Adopt(INVALID_HANDLE_VALUE));
    CHECK(session.Trace("CloseHandle").size() == 2);
    CHECK_FALSE(second->Adopt(nullptr));
    CHECK_FALSE(second->IsValid());
  }
  CHECK(session.Trace("CloseHandle").size() == 2);
}
