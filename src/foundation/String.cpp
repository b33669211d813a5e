#include "foundation/String.h"

#include <cstring>
#include <limits>

#include "foundation/TextConversion.h"
#include "foundation/UnicodeString.h"

LString::LString(const char* text) : LString(text, text ? static_cast<unsigned int>(std::strlen(text)) : 0) {}

LString::LString(const char* text, unsigned int length) {
  SetLength(length);
  if (length != 0) std::memcpy(m_storage->Elements(), text, length);
}

LString::LString(const LString& string) {
  L_ASSERT(!string.IsLocked());
  m_storage = string.m_storage;
  if (m_storage) m_storage->AddRef();
}

LString& LString::operator=(const LString& string) {
  L_ASSERT(!string.IsLocked());
  if (string.m_storage) string.m_storage->AddRef();
  Storage::Release(m_storage);
  m_storage = string.m_storage;
  return *this;
}

void LString::SetLength(unsigned int length) {
  L_ASSERT(!IsLocked());
  if (length == 0) {
    Storage::Release(m_storage);
    m_storage = nullptr;
    return;
  }
  if (length == std::numeric_limits<unsigned int>::max()) LThrowOutOfMemory();
  if (m_storage) {
    Storage::CopyOnWriteInternal(m_storage, length + 1);
  } else {
    m_storage = Storage::NewStorage(length + 1);
  }
  m_storage->Elements()[length] = '\0';
}

void LString::Assign(const LUnicodeString& text) {
  LTextConversion* const conversion = LInstalledTextConversion();
  L_ASSERT_TEXT(conversion, "newLength == length");
  const unsigned int length = conversion->ToNarrow(text.Data(), text.Length(), nullptr, 0);
  LString result;
  result.SetLength(length);
  const unsigned int newLength =
      length != 0 ? conversion->ToNarrow(text.Data(), text.Length(), result.Lock(), length) : 0;
  L_ASSERT(newLength == length);
  result.Unlock();
  *this = result;
}

char* LString::str() {
  if (!m_storage) return nullptr;
  L_ASSERT_TEXT(m_storage->GetRefCount() == 1 || m_storage->IsLocked(),
                "string->GetRefCount()==1||string->GetRefCount()==-1");
  return m_storage->Elements();
}

char* LString::Lock() {
  if (!m_storage) return nullptr;
  Storage::Lock(m_storage);
  return m_storage->Elements();
}

void LString::Unlock() {
  if (!m_storage) return;
  m_storage->Unlock();
  m_storage->Elements()[m_storage->Size() - 1] = '\0';
}
