#pragma once

#include "system/WindowsApi.h"

// Text to and from the platform's 8-bit functions, where the wide ones do not work. The code page is the ANSI
// code page; for names of files (`useFileCodePage` 1) it is the one that the platform's file functions use. A
// text that cannot be converted throws an `LMessageException` "Conversion error"; without memory
// `std::bad_alloc` is thrown. Either way nothing stays allocated.

namespace LCommon::System {

/// Size in bytes of the buffer on the stack that saves most texts a block of the heap.
constexpr unsigned int AnsiStackBufferSize = 288;

/// Converts `source` and terminates the result with a zero. `sourceLength` is its length in units, or 0 for
/// the length up to its zero; the result gets room for at least `minimalLength` characters. `out` becomes the
/// stack buffer when the room fits there, otherwise a block that the caller gives back with `LFree`; null for
/// a null source. Returns the number of bytes without the zero.
unsigned int UnicodeStringToAnsiStringWithAllocate(char*& out, const wchar_t* source, char* stackBuffer,
                                                   unsigned int stackBufferSize, unsigned int useFileCodePage,
                                                   unsigned int sourceLength, unsigned int minimalLength);

/// Converts `count` bytes, the terminating zero included, to `target`, which has room for `count` units, and
/// frees `source` unless it is the stack buffer. Returns the number of units without the terminating zero; 0,
/// with `target` untouched, for no bytes (`countMode` 1) or for a null source (otherwise).
unsigned int AnsiStringToUnicodeStringWithFree(wchar_t* target, char* source, unsigned int count,
                                               char* stackBuffer, unsigned int useFileCodePage,
                                               unsigned int countMode);

/// Makes room for the 8-bit form of `capacity` units: `out` becomes the stack buffer or a block to be freed,
/// as above. Returns its size in bytes less 1; 0, with a null `out`, for no capacity.
unsigned int PrepareAnsiBuffer(char*& out, unsigned int capacity, char* stackBuffer,
                               unsigned int stackBufferSize);

/// Wide text in its 8-bit form, for the time of a call.
class AnsiText {
 public:
  enum class Kind : unsigned int { Plain = 0, FileName = 1 };

  /// Zero-terminated text; null stays null.
  explicit AnsiText(const wchar_t* text, Kind kind = Kind::Plain) : AnsiText(text, 0, kind) {}
  /// `length` units; with length 0 as above.
  AnsiText(const wchar_t* units, unsigned int length, Kind kind = Kind::Plain);
  AnsiText(const AnsiText&) = delete;
  AnsiText& operator=(const AnsiText&) = delete;
  ~AnsiText();

  char* Get() { return m_text; }
  /// In bytes, without the terminating zero.
  unsigned int Length() const { return m_length; }

 private:
  char m_stackBuffer[AnsiStackBufferSize];
  char* m_text;
  unsigned int m_length;
};

/// Room for the text that an 8-bit function writes in place of `capacity` units.
class AnsiOutput {
 public:
  explicit AnsiOutput(unsigned int capacity);
  AnsiOutput(const AnsiOutput&) = delete;
  AnsiOutput& operator=(const AnsiOutput&) = delete;
  ~AnsiOutput();

  /// Null when there is no capacity.
  char* Get() { return m_text; }
  /// In bytes.
  unsigned int Size() const { return m_size; }

  /// Converts the `length` bytes before the terminating zero to zero-terminated text in `target`, which has
  /// room for the capacity. Returns its length; when it does not fit, the room it needs, with `target`
  /// untouched. Called once.
  unsigned int ToWide(wchar_t* target, unsigned int length);

 private:
  char m_stackBuffer[AnsiStackBufferSize];
  char* m_text;
  unsigned int m_capacity;
  unsigned int m_size;
};

/// Converts the text in a field of an 8-bit record to the same field of the wide record.
template <unsigned int Room>
void AnsiFieldToWide(wchar_t (&target)[Room], char (&source)[Room]) {
  unsigned int length = 0;
  while (length < Room - 1 && source[length] != '\0') {
    ++length;
  }
  source[length] = '\0';
  AnsiStringToUnicodeStringWithFree(target, source, length + 1, source, 0, 0);
}

}  // namespace LCommon::System
