#include "support/TestHeap.h"

#include <doctest/doctest.h>

#include <cstdlib>
#include <cstring>

TestHeap::TestHeap() {
  LInstallHeap(this, this);
}

TestHeap::~TestHeap() {
  LInstallHeap(nullptr, nullptr);
  CHECK(m_blocks.size() == 0);
  CHECK_FALSE(m_usedUnlocked);
  CHECK_FALSE(m_entered);
}

bool TestHeap::ResizeInPlace(void*, unsigned int) {
  return false;
}

void* TestHeap::Allocate(unsigned int size) {
  m_usedUnlocked |= !m_entered;
  if (m_left == 0) return nullptr;
  if (m_left != Unlimited) --m_left;
  void* const block = std::malloc(size);
  std::memset(block, 0xCD, size);
  m_blocks.emplace(block, size);
  m_newestSize = size;
  ++m_allocations;
  return block;
}

unsigned int TestHeap::Size(void* block) {
  return m_blocks.at(block);
}

void TestHeap::Free(void* block) {
  m_usedUnlocked |= !m_entered;
  std::memset(block, 0xDD, m_blocks.at(block));
  m_blocks.erase(block);
  std::free(block);
}

void TestHeap::Enter() {
  while (m_lock.test_and_set(std::memory_order_acquire)) {
  }
  m_entered = true;
}

void TestHeap::Leave() {
  m_entered = false;
  m_lock.clear(std::memory_order_release);
}
