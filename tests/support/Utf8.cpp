#include "support/Utf8.h"

namespace {

bool IsHigh(unsigned int unit) {
  return unit >= 0xD800 && unit < 0xDC00;
}
bool IsLow(unsigned int unit) {
  return unit >= 0xDC00 && unit < 0xE000;
}

}  // namespace

std::string Utf8(const LUnicodeString& text) {
  std::string result;
  const auto put = [&result](unsigned int byte) { result += static_cast<char>(byte); };
  const wchar_t* const units = text.Data();
  for (unsigned int index = 0; index < text.Length(); ++index) {
    unsigned int point = units[index];
    if (IsHigh(point) && index + 1 < text.Length() && IsLow(units[index + 1])) {
      point = 0x10000 + ((point - 0xD800) << 10) + (units[++index] - 0xDC00u);
    }
    if (point < 0x80) {
      put(point);
      continue;
    }
    const unsigned int followers = point < 0x800 ? 1 : point < 0x10000 ? 2 : 3;
    put((0xFF00u >> (followers + 1) & 0xFF) | point >> 6 * followers);
    for (unsigned int rest = followers; rest-- > 0;) {
      put(0x80 | (point >> 6 * rest & 0x3F));
    }
  }
  return result;
}

LUnicodeString Utf16(std::string_view text) {
  LUnicodeString result;
  for (std::size_t index = 0; index < text.size();) {
    const unsigned int lead = static_cast<unsigned char>(text[index++]);
    const unsigned int followers = lead < 0xC0 ? 0 : lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
    unsigned int point = followers == 0 ? lead : lead & 0x3Fu >> followers;
    for (unsigned int rest = followers; rest-- > 0 && index < text.size();) {
      point = point << 6 | (static_cast<unsigned char>(text[index++]) & 0x3Fu);
    }
    if (point >= 0x10000) {
      result.Append(static_cast<wchar_t>(0xD800 + ((point - 0x10000) >> 10)));
      point = 0xDC00 + (point & 0x3FF);
    }
    result.Append(static_cast<wchar_t>(point));
  }
  return result;
}
