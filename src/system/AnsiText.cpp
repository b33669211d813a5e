#include "system/AnsiText.h"

#include <limits>
#include <utility>

#include "foundation/Buffer.h"
#include "foundation/Exception.h"
#include "foundation/Memory.h"
#include "foundation/WideText.h"
#include "system/PlatformState.h"

namespace LCommon::System {

namespace {

/// Bytes that any `characters` characters of the ANSI code page fit in. `std::bad_alloc` when the platform's
/// conversions, which count in signed integers, could not name that size.
unsigned int RoomFor(unsigned long long characters) {
  const unsigned long long room = characters * Platform().maximalCharacterSize;
  if (room > static_cast<unsigned int>(std::numeric_limits<int>::max())) LThrowOutOfMemory();
  return static_cast<unsigned int>(room);
}

char* StackOrHeap(unsigned int size, char* stackBuffer, unsigned int stackBufferSize) {
  return size <= stackBufferSize ? stackBuffer : static_cast<char*>(LAllocate(size));
}

void FreeUnlessStack(char* text, const char* stackBuffer) {
  if (text != stackBuffer) LFree(text);
}

UINT CodePage(unsigned int useFileCodePage, bool fileFunctionsUseAnsi) {
  return useFileCodePage && !fileFunctionsUseAnsi ? Platform().oemCodePage : Platform().ansiCodePage;
}

}  // namespace

unsigned int UnicodeStringToAnsiStringWithAllocate(char*& out, const wchar_t* source, char* stackBuffer,
                                                   unsigned int stackBufferSize, unsigned int useFileCodePage,
                                                   unsigned int sourceLength, unsigned int minimalLength) {
  out = nullptr;
  if (!source) return 0;
  const unsigned int length = sourceLength ? sourceLength : LWideText::Length(source);
  const unsigned int size = RoomFor(1ull + (length > minimalLength ? length : minimalLength));
  out = StackOrHeap(size, stackBuffer, stackBufferSize);

  int written = 0;
  if (length != 0) {
    written = WideCharToMultiByte(CodePage(useFileCodePage, Platform().fileFunctionsUseAnsi), 0, source,
                                  static_cast<int>(length), out, static_cast<int>(size), nullptr, nullptr);
    if (written == 0) {
      FreeUnlessStack(std::exchange(out, nullptr), stackBuffer);
      throw LMessageException(L_HERE, "Conversion error");
    }
  }
  const unsigned int count = static_cast<unsigned int>(written);
  out[count < size ? count : size - 1] = '\0';
  return count;
}

unsigned int AnsiStringToUnicodeStringWithFree(wchar_t* target, char* source, unsigned int count,
                                               char* stackBuffer, unsigned int useFileCodePage,
                                               unsigned int countMode) {
  if (countMode == 1 ? count == 0 : !source) return 0;
  const int room = static_cast<int>(count);
  const int converted = MultiByteToWideChar(CodePage(useFileCodePage, AreFileApisANSI() != FALSE), 0, source,
                                            room, target, room);
  if (converted > 0) target[count - 1] = 0;
  FreeUnlessStack(source, stackBuffer);
  if (converted <= 0) throw LMessageException(L_HERE, "Conversion error");
  return static_cast<unsigned int>(converted) - 1;
}

unsigned int PrepareAnsiBuffer(char*& out, unsigned int capacity, char* stackBuffer,
                               unsigned int stackBufferSize) {
  out = nullptr;
  if (capacity == 0) return 0;
  const unsigned int size = RoomFor(capacity);
  out = StackOrHeap(size, stackBuffer, stackBufferSize);
  return size - 1;
}

AnsiText::AnsiText(const wchar_t* units, unsigned int length, Kind kind)
    : m_length(UnicodeStringToAnsiStringWithAllocate(m_text, units, m_stackBuffer, AnsiStackBufferSize,
                                                     static_cast<unsigned int>(kind), length, 0)) {}

AnsiText::~AnsiText() {
  FreeUnlessStack(m_text, m_stackBuffer);
}

AnsiOutput::AnsiOutput(unsigned int capacity)
    : m_capacity(capacity), m_size(PrepareAnsiBuffer(m_text, capacity, m_stackBuffer, AnsiStackBufferSize)) {
  if (m_text) ++m_size;
}

AnsiOutput::~AnsiOutput() {
  FreeUnlessStack(m_text, m_stackBuffer);
}

unsigned int AnsiOutput::ToWide(wchar_t* target, unsigned int length) {
  if (length < m_capacity) {
    return AnsiStringToUnicodeStringWithFree(target, std::exchange(m_text, nullptr), length + 1,
                                             m_stackBuffer, 0, 0);
  }
  // A text with more bytes than there are units of room may still fit, when characters have several bytes;
  // but the conversion wants a unit of room for each byte.
  LBuffer wide;
  wide.SetSize(LProduct(length + 1ull, sizeof(wchar_t)));
  const LBufferLock lock(wide);
  wchar_t* const units = reinterpret_cast<wchar_t*>(lock.Data());
  const unsigned int unitCount = AnsiStringToUnicodeStringWithFree(units, std::exchange(m_text, nullptr),
                                                                   length + 1, m_stackBuffer, 0, 0);
  if (unitCount < m_capacity) {
    LWideText::Copy(target, units, unitCount + 1);
    return unitCount;
  }
  return unitCount + 1;
}

}  // namespace LCommon::System
