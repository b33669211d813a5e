#include <doctest/doctest.h>

#include <new>
#include <utility>

#include "foundation/Assert.h"
#include "foundation/Memory.h"
#include "support/Throws.h"

namespace {

/// Three blocks in a row; resizes in place up to `capacity`, knows sizes only when told to.
struct SmallManager : MemoryManager, LHeapLock {
  bool ResizeInPlace(void*, unsigned int size) override { return size <= capacity; }
  void* Allocate(unsigned int) override { return next < 3 ? blocks[next++] : nullptr; }
  unsigned int Size(void* block) override { return knowsSizes ? 4 : MemoryManager::Size(block); }
  void Free(void* block) override { freed = block; }
  void Enter() override {}
  void Leave() override {}

  char blocks[3][16] = {"abcdefgh", "--------", "--------"};
  unsigned int next = 1, capacity = 0;
  bool knowsSizes = true;
  void* freed = nullptr;
};

}  // namespace

TEST_CASE("a Windows error reads as a failed system status unless it is success") {
  CHECK(LCommon::System::WindowsErrorException(L_HERE, 5).GetSystemErrorCode() == 0xC0000001);
  CHECK(LCommon::System::WindowsErrorException(L_HERE, 0).GetSystemErrorCode() == 0);
}

TEST_CASE("messages are cut at their limits") {
  const std::string longText(300, 'x');
  CHECK(LMessageException(L_HERE, longText.c_str()).Message() == std::string(255, 'x'));
  CHECK(Thrown([&] { LReportAssertion(L_HERE, longText.c_str()); }) == std::string(236, 'x'));
  CHECK(Thrown([] { L_ASSERT(1 + 1 == 3); }) == "1 + 1 == 3");
  CHECK(Thrown([] { L_ASSERT(1 + 1 == 2); }) == "nothing");
}

TEST_CASE("a block is resized in place, moves, or fails as bad_alloc and stays") {
  CHECK_THROWS_AS(LAllocate(1), std::bad_alloc);
  char unmanaged = 0;
  LFree(&unmanaged);

  SmallManager manager;
  LInstallHeap(&manager, &manager);
  char* const first = manager.blocks[0];
  manager.capacity = 12;
  CHECK(LReallocate(first, 12) == first);
  CHECK(LReallocate(first, 13) == manager.blocks[1]);
  CHECK(std::string(manager.blocks[1]) == "abcd----");
  CHECK(std::exchange(manager.freed, nullptr) == first);
  manager.knowsSizes = false;
  CHECK(manager.Reallocate(first, 13) == nullptr);
  CHECK(manager.ReallocateTyped(1, first, 12) == first);
  CHECK(manager.SizeTyped(1, first) == MemoryManager::UnknownSize);
  CHECK(manager.AllocateTyped(1, 2) == manager.blocks[2]);
  manager.knowsSizes = true;
  CHECK_THROWS_AS(LReallocate(first, 13), std::bad_alloc);
  LFree(nullptr);
  CHECK(manager.freed == nullptr);
  manager.FreeTyped(1, first);
  CHECK(manager.freed == first);
  LInstallHeap(nullptr, nullptr);
}
