#pragma once

#include "foundation/ClassArray.h"
#include "foundation/UnicodeString.h"

/// An array of strings that converts to and from the platform's multi-string form: zero-terminated strings in
/// a row, closed by an empty one.
class LUnicodeStringArray : public LClassArray<LUnicodeString, LUnicodeString, 16> {
 public:
  /// Replaces the elements by the strings at `text`, which ends with two zero units; null gives no elements.
  /// A first string is taken even when it is empty.
  void FromMultiString(const wchar_t* text);
  /// The elements in multi-string form, terminators included; an empty buffer without elements. Empty
  /// elements are left out, because the form cannot express them.
  LBuffer ToMultiString() const;
};
