#include "machine/Text.h"

#include <algorithm>
#include <cstdint>

namespace winsim {

std::u16string FromWide(const wchar_t* text) {
  std::size_t length = 0;
  while (text != nullptr && text[length] != 0) {
    ++length;
  }
  return FromWide(text, length);
}

std::u16string FromWide(const wchar_t* text, std::size_t length) {
  std::u16string result(length, u'\0');
  for (std::size_t i = 0; i < length; ++i) {
    result[i] = static_cast<char16_t>(text[i]);
  }
  return result;
}

void CopyToWide(std::u16string_view text, wchar_t* target) {
  for (const char16_t unit : text) {
    *target++ = static_cast<wchar_t>(unit);
  }
  *target = 0;
}

static void AppendUtf8(std::string& result, std::uint32_t point) {
  const auto append = [&](std::uint32_t byte) { result.push_back(static_cast<char>(byte)); };
  if (point < 0x80) {
    append(point);
  } else if (point < 0x800) {
    append(0xC0 | (point >> 6));
    append(0x80 | (point & 0x3F));
  } else if (point < 0x10000) {
    append(0xE0 | (point >> 12));
    append(0x80 | ((point >> 6) & 0x3F));
    append(0x80 | (point & 0x3F));
  } else {
    append(0xF0 | (point >> 18));
    append(0x80 | ((point >> 12) & 0x3F));
    append(0x80 | ((point >> 6) & 0x3F));
    append(0x80 | (point & 0x3F));
  }
}

std::string ToUtf8(std::u16string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    std::uint32_t point = text[i];
    if (point >= 0xD800 && point < 0xE000) {
      const bool pair =
          point < 0xDC00 && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000;
      point = pair ? 0x10000 + ((point - 0xD800) << 10) + (text[++i] - 0xDC00u) : 0xFFFD;
    }
    AppendUtf8(result, point);
  }
  return result;
}

std::u16string FromUtf8(std::string_view text) {
  std::u16string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    const auto lead = static_cast<std::uint8_t>(text[i++]);
    const unsigned int following = lead < 0x80 ? 0 : lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : 1;
    std::uint32_t point = following == 0 ? lead : lead & (0x3Fu >> following);
    unsigned int taken = 0;
    while (taken < following && i < text.size() && (static_cast<std::uint8_t>(text[i]) & 0xC0) == 0x80) {
      point = (point << 6) | (static_cast<std::uint8_t>(text[i++]) & 0x3Fu);
      ++taken;
    }
    static constexpr std::uint32_t smallest[] = {0, 0x80, 0x800, 0x10000};
    const bool valid = taken == following && (lead < 0x80 || (lead >= 0xC2 && lead < 0xF5)) &&
                       point >= smallest[following] && point < 0x110000 &&
                       (point < 0xD800 || point >= 0xE000);
    if (!valid) {
      point = 0xFFFD;
    }
    if (point >= 0x10000) {
      result.push_back(static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10)));
      result.push_back(static_cast<char16_t>(0xDC00 + ((point - 0x10000) & 0x3FF)));
    } else {
      result.push_back(static_cast<char16_t>(point));
    }
  }
  return result;
}

char16_t FoldCase(char16_t unit) {
  const auto within = [unit](unsigned int first, unsigned int last) { return unit >= first && unit <= last; };
  const auto less = [unit](unsigned int distance) { return static_cast<char16_t>(unit - distance); };
  if (within('a', 'z') || within(0xE0, 0xF6) || within(0xF8, 0xFE) || within(0x3B1, 0x3C1) ||
      within(0x3C3, 0x3CB) || within(0x430, 0x44F)) {
    return less(0x20);
  }
  if (within(0x450, 0x45F)) {
    return less(0x50);
  }
  if (unit == 0xFF) {
    return 0x178;
  }
  // Latin Extended-A pairs its letters, the capital first: at even code points but for two runs.
  const bool capitalIsOdd = within(0x139, 0x148) || within(0x179, 0x17E);
  if (within(0x100, 0x17E) && unit != 0x130 && unit != 0x131 && unit != 0x138 && unit != 0x149 &&
      unit != 0x178 && (unit % 2 == 1) != capitalIsOdd) {
    return less(1);
  }
  return unit;
}

std::u16string FoldCase(std::u16string_view text) {
  std::u16string result(text);
  std::transform(result.begin(), result.end(), result.begin(), [](char16_t unit) { return FoldCase(unit); });
  return result;
}

bool EqualsIgnoringCase(std::u16string_view left, std::u16string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char16_t a, char16_t b) { return FoldCase(a) == FoldCase(b); });
}

bool CaseInsensitiveLess::operator()(std::u16string_view left, std::u16string_view right) const {
  const std::size_t common = std::min(left.size(), right.size());
  for (std::size_t i = 0; i < common; ++i) {
    // Mostly the units are the same: every look-up of a name comes through here.
    if (left[i] != right[i]) {
      const char16_t a = FoldCase(left[i]);
      const char16_t b = FoldCase(right[i]);
      if (a != b) {
        return a < b;
      }
    }
  }
  return left.size() < right.size();
}

}  // namespace winsim
