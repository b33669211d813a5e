#include <doctest/doctest.h>

#include <cstring>
#include <new>

#include "foundation/Assert.h"
#include "foundation/Memory.h"
#include "support/FailedCondition.h"

namespace {

using LCommon::System::SystemErrorException;
using LCommon::System::WindowsErrorException;

class FamilyException : public WindowsErrorException {
 public:
  using WindowsErrorException::WindowsErrorException;
};
class NotFoundException : public FamilyException {
 public:
  using FamilyException::FamilyException;
};

template <class Caught>
bool CaughtAs() {
  try {
    throw NotFoundException(L_HERE, 2);
  } catch (const Caught& exception) {
    return exception.Line() != 0 && std::strstr(exception.Function(), "CaughtAs") != nullptr;
  }
}

/// Three blocks in a row; resizes in place up to `capacity`, knows sizes only when told to.
class SmallManager : public MemoryManager {
 public:
  bool ResizeInPlace(void*, unsigned int size) override { return size <= capacity; }
  void* Allocate(unsigned int) override { return next < 3 ? blocks[next++] : nullptr; }
  unsigned int Size(void* block) override { return knowsSizes ? 4 : MemoryManager::Size(block); }
  void Free(void* block) override { freed = block; }

  char blocks[3][16] = {"abcdefgh", "--------", "--------"};
  unsigned int next = 1;
  unsigned int capacity = 0;
  bool knowsSizes = true;
  void* freed = nullptr;
};

class CountingLock : public LHeapLock {
 public:
  void Enter() override { ++entered; }
  void Leave() override { ++left; }

  int entered = 0;
  int left = 0;
};

}  // namespace

TEST_CASE("an exception is caught as any of its bases") {
  CHECK(CaughtAs<NotFoundException>());
  CHECK(CaughtAs<FamilyException>());
  CHECK(CaughtAs<WindowsErrorException>());
  CHECK(CaughtAs<SystemErrorException>());
  CHECK(CaughtAs<LBaseException>());
}

TEST_CASE("a Windows error reads as a failed system status unless it is success") {
  const auto codes = [](const SystemErrorException& error) { return error.GetSystemErrorCode(); };
  CHECK(codes(WindowsErrorException(L_HERE, 5)) == 0xC0000001);
  CHECK(codes(WindowsErrorException(L_HERE, 0)) == 0);
  CHECK(codes(SystemErrorException(L_HERE, 0xC0000022)) == 0xC0000022);
  CHECK(WindowsErrorException(L_HERE, 5).GetWindowsErrorCode() == 5);
  CHECK(WindowsErrorException(L_HERE, 0).GetWindowsErrorCode() == 0);
}

TEST_CASE("messages are cut at their limits") {
  const std::string longText(300, 'x');
  CHECK(LMessageException(L_HERE, longText.c_str()).Message() == std::string(255, 'x'));
  CHECK(FailedCondition([&] { LReportAssertion(L_HERE, longText.c_str()); }) == std::string(236, 'x'));
  CHECK(FailedCondition([] { L_UNREACHABLE(); }) == "Unreachable point");
  CHECK(FailedCondition([] { L_ASSERT(1 + 1 == 3); }) == "1 + 1 == 3");
  CHECK(FailedCondition([] { L_ASSERT(1 + 1 == 2); }) == "nothing");
}

TEST_CASE("every use of the memory manager stands under the lock and fails as bad_alloc") {
  CHECK_THROWS_AS(LAllocate(1), std::bad_alloc);
  char unmanaged = 0;
  LFree(&unmanaged);

  SmallManager manager;
  CountingLock lock;
  LInstallHeap(&manager, &lock);
  char* const first = manager.blocks[0];
  CHECK(LAllocate(8) == manager.blocks[1]);
  manager.capacity = 12;
  CHECK(LReallocate(first, 12) == first);
  CHECK(LReallocate(first, 13) == manager.blocks[2]);
  CHECK(std::string(manager.blocks[2]) == "abcd----");
  CHECK(manager.freed == first);
  manager.freed = nullptr;
  CHECK_THROWS_AS(LReallocate(first, 13), std::bad_alloc);
  CHECK_THROWS_AS(LAllocate(8), std::bad_alloc);
  CHECK(manager.freed == nullptr);
  LFree(nullptr);
  LFree(first);
  CHECK(manager.freed == first);
  CHECK(lock.entered == 6);
  CHECK(lock.left == 6);
  LInstallHeap(nullptr, nullptr);
}

TEST_CASE("a block of unknown size does not move, and typed calls reach the plain ones") {
  SmallManager manager;
  char* const first = manager.blocks[0];
  CHECK(manager.ReallocateTyped(1, first, 2) == manager.blocks[1]);
  CHECK(std::string(manager.blocks[1]) == "ab------");
  CHECK(manager.SizeTyped(1, first) == 4);
  manager.knowsSizes = false;
  CHECK(manager.SizeTyped(1, first) == MemoryManager::UnknownSize);
  CHECK(manager.Reallocate(first, 2) == nullptr);
  manager.capacity = 2;
  CHECK(manager.Reallocate(first, 2) == first);
  CHECK(manager.ResizeInPlaceTyped(1, first, 2));
  CHECK(manager.AllocateTyped(1, 2) == manager.blocks[2]);
  manager.FreeTyped(1, first);
  CHECK(manager.freed == first);
  CHECK(manager.Validate());
}
