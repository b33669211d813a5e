#include "system/MsMemoryManager.h"

#include <doctest/doctest.h>

#include <cstring>

#include "support/SystemSession.h"

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
  CHECK(block[0] == 'x');
  CHECK(block[49] == 'x');
  CHECK(manager.Validate());
  manager.FreeTyped(7, block);
}
