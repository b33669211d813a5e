#pragma once

#include "foundation/DynamicStorage.h"

class LUnicodeString;

/// Text of the default 8-bit code page, for platform functions that know nothing else. Copies share one
/// block, the first write to a shared block copies it. Lengths are in bytes without the terminating zero,
/// which is always there unless the string is empty. Memory and assertion failures as for `LBuffer`.
class LString {
 public:
  LString() = default;
  /// A copy of zero-terminated text; empty for null.
  LString(const char* text);
  /// A copy of `length` characters.
  LString(const char* text, unsigned int length);
  /// Conversion, see `Assign`.
  explicit LString(const LUnicodeString& text) { Assign(text); }
  /// Asserts that `string` is not locked.
  LString(const LString& string);
  LString& operator=(const LString& string);
  ~LString() { Storage::Release(m_storage); }

  unsigned int Length() const { return m_storage ? m_storage->Size() - 1 : 0; }
  bool IsEmpty() const { return Length() == 0; }
  /// Makes the contents this string's own, `length` characters long: the first ones kept, added ones
  /// undefined. Length 0 empties the string. Asserts that the string is not locked.
  void SetLength(unsigned int length);
  /// The text in the default 8-bit code page. Empty when the conversion answers no characters; asserts that
  /// measuring and converting agree ("newLength == length").
  void Assign(const LUnicodeString& text);

  /// The characters for reading, null when empty.
  const char* Data() const { return m_storage ? m_storage->Elements() : nullptr; }
  /// The characters for writing, null when empty. Asserts that nobody shares them.
  char* str();

  /// As `LBuffer::Lock` and `LBuffer::Unlock`; unlocking writes the terminating zero anew.
  char* Lock();
  void Unlock();
  bool IsLocked() const { return m_storage && m_storage->IsLocked(); }

 private:
  using Storage = LDynamicStorage<char, 16, 256, 0>;

  Storage* m_storage = nullptr;
};
