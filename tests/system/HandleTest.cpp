#include "system/Handle.h"

#include <doctest/doctest.h>

#include <cstring>

#include "foundation/PtrRef.h"
#include "support/SystemSession.h"
#include "system/MsMemoryManager.h"
#include "system/PlatformApi.h"

using namespace LCommon::System;

TEST_CASE("a handle object closes what it owns once, and only real handles") {
  SystemSession session;
  const auto newMutex = [] { return CreateMutexU(nullptr, FALSE, nullptr); };
  const auto closed = [&] { return session.Trace("CloseHandle").size(); };
  {
    LPtrRef<Handle> first = LMakeRef<Handle>(newMutex());
    CHECK(first->IsValid());
    LPtrRef<Handle> second = first;
    first = nullptr;
    CHECK(closed() == 0);
    CHECK(second->Adopt(newMutex()));
    CHECK(closed() == 1);
    CHECK_FALSE(second->Adopt(INVALID_HANDLE_VALUE));
    CHECK(closed() == 2);
    CHECK_FALSE(second->Adopt(nullptr));
    CHECK_FALSE(second->IsValid());
  }
  CHECK(closed() == 2);
}

TEST_CASE("the memory manager knows its blocks and keeps their contents when it moves them") {
  SystemSession session;
  MsMemoryManager manager;
  char* block = static_cast<char*>(manager.Allocate(100));
  REQUIRE(block != nullptr);
  CHECK(manager.Size(block) >= 100);
  CHECK(manager.Size(block) == manager.SizeTyped(7, block));
  std::memset(block, 'x', 100);
  CHECK(manager.ResizeInPlace(block, 50));
  CHECK_FALSE(manager.ResizeInPlaceTyped(7, block, 1 << 20));
  block = static_cast<char*>(manager.ReallocateTyped(7, block, 1 << 20));
  REQUIRE(block != nullptr);
  CHECK(manager.Size(block) >= 1 << 20);
  CHECK(std::string(block, 50) == std::string(50, 'x'));
  CHECK(manager.Validate());
  manager.FreeTyped(7, block);
}
