#include "foundation/Buffer.h"

#include <cstring>
#include <limits>

LBuffer::LBuffer(const LBuffer& buffer) {
  L_ASSERT(!buffer.IsLocked());
  m_pDataStorage = buffer.m_pDataStorage;
  if (m_pDataStorage) m_pDataStorage->AddRef();
}

void LBuffer::Assign(const LBuffer& buffer) {
  L_ASSERT(!buffer.IsLocked());
  if (buffer.m_pDataStorage) buffer.m_pDataStorage->AddRef();
  Storage::Release(m_pDataStorage);
  m_pDataStorage = buffer.m_pDataStorage;
}

void LBuffer::Assign(const void* data, unsigned int size) {
  L_ASSERT(!IsLocked());
  if (FitsInPlace(size)) {
    m_pDataStorage->SetSizeInPlace(size);
    std::memmove(m_pDataStorage->Elements(), data, size);
    return;
  }
  Storage* const storage = Storage::NewStorage(size);
  // The bytes are copied before the old block goes, because they may be its own.
  if (storage) std::memcpy(storage->Elements(), data, size);
  Storage::Release(m_pDataStorage);
  m_pDataStorage = storage;
}

void LBuffer::SetSize(unsigned int size) {
  L_ASSERT(!IsLocked());
  if (!m_pDataStorage) {
    m_pDataStorage = Storage::NewStorage(size);
  } else if (size == 0) {
    Storage::Release(m_pDataStorage);
    m_pDataStorage = nullptr;
  } else if (FitsInPlace(size)) {
    m_pDataStorage->SetSizeInPlace(size);
  } else {
    Storage::CopyOnWriteInternal(m_pDataStorage, size);
  }
}

const unsigned char* LBuffer::Data() const {
  L_ASSERT(!IsLocked());
  return m_pDataStorage ? m_pDataStorage->Elements() : nullptr;
}

unsigned char* LBuffer::Lock() {
  L_ASSERT(!IsLocked());
  if (!m_pDataStorage) return nullptr;
  Storage::Lock(m_pDataStorage);
  return m_pDataStorage->Elements();
}

void LBuffer::Unlock() {
  L_ASSERT(IsLocked() || !m_pDataStorage);
  if (m_pDataStorage) m_pDataStorage->Unlock();
}

void LBuffer::Insert(unsigned int index, const void* data, unsigned int count) {
  unsigned char* const gap = MakeGap(index, count);
  if (count != 0) std::memcpy(gap, data, count);
}

void LBuffer::Insert(unsigned int index, unsigned char value, unsigned int count) {
  unsigned char* const gap = MakeGap(index, count);
  if (count != 0) std::memset(gap, value, count);
}

void LBuffer::Append(const LBuffer& buffer) {
  // Holding the other's block keeps its bytes in place when it is this buffer that grows.
  const LBuffer source(buffer);
  Insert(Size(), source.Data(), source.Size());
}

bool LBuffer::FitsInPlace(unsigned int size) const {
  return m_pDataStorage && m_pDataStorage->GetRefCount() == 1 && size >= m_pDataStorage->Size() &&
         size <= m_pDataStorage->Capacity();
}

unsigned char* LBuffer::MakeGap(unsigned int index, unsigned int count) {
  L_ASSERT(!IsLocked());
  const unsigned int oldSize = Size();
  L_ASSERT_TEXT(index <= oldSize, "index <= Size()");
  if (count == 0) return nullptr;
  if (count > std::numeric_limits<unsigned int>::max() - oldSize) LThrowOutOfMemory();
  SetSize(oldSize + count);
  unsigned char* const gap = m_pDataStorage->Elements() + index;
  std::memmove(gap + count, gap, oldSize - index);
  return gap;
}
