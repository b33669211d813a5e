#include "foundation/UnicodeString.h"

#include <algorithm>
#include <cstring>

#include "foundation/String.h"
#include "foundation/TextConversion.h"
#include "foundation/WideText.h"

namespace {

constexpr unsigned int UnitSize = sizeof(wchar_t);

unsigned int BytesFor(unsigned long long units) {
  return LProduct(units + 1, UnitSize);
}

/// Stored text made of two runs of units.
LBuffer Joined(const wchar_t* first, unsigned int firstLength, const wchar_t* second,
               unsigned int secondLength) {
  const unsigned long long length = 0ull + firstLength + secondLength;
  LBuffer buffer;
  buffer.SetSize(BytesFor(length));
  {
    const LBufferLock lock(buffer);
    wchar_t* const units = reinterpret_cast<wchar_t*>(lock.Data());
    LWideText::Copy(units, first, firstLength);
    LWideText::Copy(units + firstLength, second, secondLength);
    units[length] = 0;
  }
  return buffer;
}

}  // namespace

void LUnicodeString::Assign(const wchar_t* text) {
  Assign(text, LWideText::Length(text));
}

void LUnicodeString::Assign(const wchar_t* units, unsigned int count) {
  m_buffer = count != 0 ? Joined(units, count, nullptr, 0) : LBuffer();
}

void LUnicodeString::Assign(const LString& text) {
  LTextConversion* const conversion = LInstalledTextConversion();
  L_ASSERT_TEXT(conversion, "newLength == length");
  const unsigned int length = conversion->ToWide(text.Data(), text.Length(), nullptr, 0);
  LBuffer buffer;
  buffer.SetSize(BytesFor(length));
  {
    const LBufferLock lock(buffer);
    wchar_t* const units = reinterpret_cast<wchar_t*>(lock.Data());
    const unsigned int newLength =
        length != 0 ? conversion->ToWide(text.Data(), text.Length(), units, length) : 0;
    L_ASSERT(newLength == length);
    units[length] = 0;
  }
  m_buffer = buffer;
}

LUnicodeString LUnicodeString::FromZeroTerminated(const LBuffer& buffer) {
  const wchar_t* const units = reinterpret_cast<const wchar_t*>(buffer.Data());
  return LUnicodeString(units, LWideText::Find(units, buffer.Size() / UnitSize, 0));
}

unsigned int LUnicodeString::Length() const {
  return m_buffer.IsEmpty() ? 0 : m_buffer.Size() / UnitSize - 1;
}

wchar_t& LUnicodeString::operator[](unsigned int index) {
  L_ASSERT_TEXT((index + 1ull) * UnitSize <= m_buffer.Size(),
                "( index + 1 ) * sizeof( wchar_t ) <= m_buffer.Size()");
  return WritableUnit(index);
}

wchar_t& LUnicodeString::operator[](int index) {
  L_ASSERT_TEXT(index >= 0 && (static_cast<unsigned int>(index) + 1ull) * UnitSize <= m_buffer.Size(),
                "index >= 0 && ( index + 1 ) * sizeof( wchar_t ) <= m_buffer.Size()");
  return WritableUnit(static_cast<unsigned int>(index));
}

bool LUnicodeString::operator==(const LUnicodeString& other) const {
  return Length() == other.Length() && LWideText::EqualIgnoringAsciiCase(Data(), other.Data(), Length());
}

bool LUnicodeString::operator==(const wchar_t* other) const {
  const unsigned int length = LWideText::Length(other);
  if (length == 0) return m_buffer.IsEmpty();
  return Length() == length && std::memcmp(m_buffer.Data(), other, m_buffer.Size()) == 0;
}

void LUnicodeString::Append(wchar_t unit) {
  const unsigned int length = Length();
  m_buffer.SetSize(BytesFor(length + 1ull));
  const LBufferLock lock(m_buffer);
  wchar_t* const units = reinterpret_cast<wchar_t*>(lock.Data());
  units[length] = unit;
  units[length + 1] = 0;
}

void LUnicodeString::Append(LUnicodeString text) {
  const unsigned int length = Length();
  const unsigned int newLength = length + text.Length();
  m_buffer.SetSize(BytesFor(0ull + length + text.Length()));
  const LBufferLock lock(m_buffer);
  wchar_t* const units = reinterpret_cast<wchar_t*>(lock.Data());
  LWideText::Copy(units + length, text.Data(), text.Length());
  units[newLength] = 0;
}

LUnicodeString LUnicodeString::operator+(LUnicodeString text) const {
  LUnicodeString result(*this);
  result.Append(text);
  return result;
}

LUnicodeString LUnicodeString::operator+(const wchar_t* text) const {
  return *this + LUnicodeString(text);
}

LUnicodeString LUnicodeString::operator+(wchar_t unit) const {
  LUnicodeString result(*this);
  result.Append(unit);
  return result;
}

LUnicodeString LUnicodeString::Mid(unsigned int index, unsigned int count) const {
  const unsigned int length = Length();
  if (index >= length) return LUnicodeString();
  return LUnicodeString(Data() + index, std::min(count, length - index));
}

void LUnicodeString::Delete(unsigned int index, unsigned int count) {
  const unsigned int length = Length();
  if (index >= length) return;
  const unsigned int tail = count < length - index ? length - index - count : 0;
  m_buffer = Joined(Data(), index, Data() + (length - tail), tail);
}

wchar_t& LUnicodeString::WritableUnit(unsigned int index) {
  const LBufferLock lock(m_buffer);
  return reinterpret_cast<wchar_t*>(lock.Data())[index];
}
