#pragma once

#include "foundation/Buffer.h"

class LString;

/// UTF-16 text, the form of every name, path and message; passed and returned by value, because copies share
/// one block as those of `LBuffer` do, with the same failures. Lengths, indexes and counts are in 16-bit
/// units without the terminating zero that the stored text ends with. An empty string usually holds no block;
/// some operations leave one with the terminator only. Text handed in by pointer lies outside the string
/// itself.
class LUnicodeString {
 public:
  LUnicodeString() = default;
  /// A copy of zero-terminated text; empty for null.
  LUnicodeString(const wchar_t* text) { Assign(text); }
  /// A copy of `count` units.
  LUnicodeString(const wchar_t* units, unsigned int count) { Assign(units, count); }
  /// Conversion, see `Assign`.
  explicit LUnicodeString(const LString& text) { Assign(text); }

  void Assign(const LUnicodeString& text) { m_buffer = text.m_buffer; }
  void Assign(const wchar_t* text);
  void Assign(const wchar_t* units, unsigned int count);
  /// The text converted from the default 8-bit code page; asserts that measuring and converting agree
  /// ("newLength == length").
  void Assign(const LString& text);

  /// The units in `buffer` up to the first zero or the end of its complete units.
  static LUnicodeString FromZeroTerminated(const LBuffer& buffer);

  unsigned int Length() const;
  bool IsEmpty() const { return Length() == 0; }
  /// The units with their terminator, null for an empty string without a block. Valid until the next change.
  const wchar_t* Data() const { return reinterpret_cast<const wchar_t*>(m_buffer.Data()); }
  /// The stored bytes, terminator included.
  const LBuffer& Buffer() const { return m_buffer; }

  /// A unit, or with `index` at the length the terminator, for writing; makes the text this string's own.
  /// Asserts the range. For reading use `Data`, which shares on.
  wchar_t& operator[](unsigned int index);
  wchar_t& operator[](int index);

  /// Equal lengths and equal units but for the case of the letters A to Z.
  bool operator==(const LUnicodeString& other) const;
  /// Exact comparison of the stored bytes with zero-terminated text; a string that stores nothing but a
  /// terminator does not equal the empty text.
  bool operator==(const wchar_t* other) const;

  void Append(wchar_t unit);
  void Append(LUnicodeString text);
  LUnicodeString operator+(LUnicodeString text) const;
  LUnicodeString operator+(const wchar_t* text) const;
  LUnicodeString operator+(wchar_t unit) const;

  /// At most `count` units from `index` on; empty from the length on.
  LUnicodeString Mid(unsigned int index, unsigned int count) const;
  LUnicodeString Mid(unsigned int index) const { return Mid(index, Length() - index); }
  /// Takes away at most `count` units from `index` on; nothing from the length on.
  void Delete(unsigned int index, unsigned int count = 1);

 private:
  wchar_t& WritableUnit(unsigned int index);

  LBuffer m_buffer;
};
