#include <doctest/doctest.h>

#include <new>
#include <utility>

#include "foundation/Assert.h"
#include "foundation/Memory.h"
#include "support/Throws.h"

namespace {

/// Two blocks; resizes in place up to `capacity`.
struct SmallManager : MemoryManager, LHeapLock {
  bool ResizeInPlace(void*, unsigned int size) override { return size <= capacity; }
  void* Allocate(unsigned int) override { return std::exchange(next, nullptr); }
  unsigned int Size(void*) override { return 4; }
  void Free(void* block) override { freed = block; }
  void Enter() override {}
  void Leave() override {}

  char blocks[2][16] = {"abcdefgh", "--------"};
  char* next = blocks[1];
  unsigned int capacity = 12;
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
  CHECK_THROWS_WITH_AS(LAllocate(1), "bad allocation", std::bad_alloc);
  CHECK(LProduct(0x55555555, 3) == 0xFFFFFFFF);
  CHECK_THROWS_WITH_AS(LProduct(0x80000000, 2), "bad allocation", std::bad_alloc);
  char unmanaged = 0;
  LFree(&unmanaged);

  SmallManager manager;
  LInstallHeap(&manager, &manager);
  char* const first = manager.blocks[0];
  CHECK(LReallocate(first, 12) == first);
  CHECK(LReallocate(first, 13) == manager.blocks[1]);
  CHECK(std::string(manager.blocks[1]) == "abcd----");
  CHECK(std::exchange(manager.freed, nullptr) == first);
  CHECK_THROWS_AS(LReallocate(first, 13), std::bad_alloc);
  LFree(nullptr);
  CHECK(manager.freed == nullptr);
  LInstallHeap(nullptr, nullptr);
}
