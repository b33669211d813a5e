#include "foundation/UnicodeStringArray.h"

#include "foundation/WideText.h"

void LUnicodeStringArray::FromMultiString(const wchar_t* text) {
  RemoveAll();
  if (!text) return;
  do {
    const unsigned int length = LWideText::Length(text);
    Append(LUnicodeString(text, length));
    text += length + 1;
  } while (*text != 0);
}

LBuffer LUnicodeStringArray::ToMultiString() const {
  LBuffer result;
  if (Length() == 0) return result;
  for (unsigned int index = 0; index < Length(); ++index) {
    const LUnicodeString& text = (*this)[index];
    if (!text.IsEmpty()) result.Append(text.Buffer());
  }
  result.Insert(result.Size(), static_cast<unsigned char>(0), sizeof(wchar_t));
  return result;
}
