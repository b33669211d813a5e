#pragma once

#include <cstring>

/// Zero-terminated and counted text of 16-bit units. The C library's functions for wide text are no use here:
/// on some platforms they read units of 32 bits. Lengths count units without the terminator.
namespace LWideText {

static_assert(sizeof(wchar_t) == 2);

/// The length of `text` up to its zero; 0 for null.
constexpr unsigned int Length(const wchar_t* text) {
  unsigned int length = 0;
  while (text && text[length] != 0) {
    ++length;
  }
  return length;
}

/// The letters A to Z as a to z, every other unit as it is.
constexpr wchar_t ToLowerAscii(wchar_t unit) {
  return unit >= L'A' && unit <= L'Z' ? static_cast<wchar_t>(unit - L'A' + L'a') : unit;
}

/// Whether `length` units are the same but for the case of the letters A to Z.
constexpr bool EqualIgnoringAsciiCase(const wchar_t* first, const wchar_t* second, unsigned int length) {
  for (unsigned int index = 0; index < length; ++index) {
    if (ToLowerAscii(first[index]) != ToLowerAscii(second[index])) return false;
  }
  return true;
}

/// The first of `length` units that equals `unit`, or `length` when none does.
constexpr unsigned int Find(const wchar_t* text, unsigned int length, wchar_t unit) {
  unsigned int index = 0;
  while (index < length && text[index] != unit) {
    ++index;
  }
  return index;
}

/// Copies `length` units between places that do not overlap.
inline void Copy(wchar_t* target, const wchar_t* source, unsigned int length) {
  if (length != 0) std::memcpy(target, source, length * sizeof(wchar_t));
}

}  // namespace LWideText
