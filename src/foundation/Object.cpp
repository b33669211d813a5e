#include "foundation/Object.h"

#include <exception>

#include "foundation/Assert.h"
#include "foundation/Memory.h"

LObject::~LObject() noexcept(false) {}

void LObject::Release() {
  delete this;
}

void* LObject::operator new(std::size_t size) {
  return LAllocate(size);
}

void LObject::operator delete(void* block) noexcept {
  LFree(block);
}

LRefObject::~LRefObject() noexcept(false) {
  // A second exception while the first one unwinds would end the process.
  if (std::uncaught_exceptions() == 0) {
    L_ASSERT_TEXT(m_uReferenceCount <= 1, "( m_uReferenceCount == 0 ) || ( m_uReferenceCount == 1 )");
  }
}

void LRefObject::Release() {
  L_ASSERT(m_uReferenceCount > 0);
  if (--m_uReferenceCount == 0) delete this;
}

void LRefObject::AddRef() {
  L_ASSERT(m_uReferenceCount > 0);
  ++m_uReferenceCount;
}
