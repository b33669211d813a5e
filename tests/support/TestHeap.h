#pragma once

#include <atomic>
#include <map>

#include "foundation/Memory.h"

/// The heap of the process while it lives. It moves a block on every reallocation, overwrites what it hands
/// out and takes back, and fails the test at its end when blocks are left or the heap was used without its
/// lock.
class TestHeap : public MemoryManager, public LHeapLock {
 public:
  TestHeap();
  ~TestHeap() override;

  /// Blocks in use.
  std::size_t Blocks() const { return m_blocks.size(); }
  /// Successful allocations so far.
  unsigned int Allocations() const { return m_allocations; }
  /// Size of the newest block.
  unsigned int NewestSize() const { return m_newestSize; }
  /// Lets `count` more allocations succeed and fails those that follow.
  void FailAfter(unsigned int count) { m_left = count; }
  void StopFailing() { m_left = Unlimited; }

  bool ResizeInPlace(void* block, unsigned int size) override;
  void* Allocate(unsigned int size) override;
  unsigned int Size(void* block) override;
  void Free(void* block) override;
  void Enter() override;
  void Leave() override;

 private:
  static constexpr unsigned int Unlimited = ~0u;

  std::atomic_flag m_lock;
  std::map<void*, unsigned int> m_blocks;
  unsigned int m_allocations = 0;
  unsigned int m_newestSize = 0;
  unsigned int m_left = Unlimited;
  bool m_entered = false;
  bool m_usedUnlocked = false;
};
