#include "machine/RegFileText.h"

#include <algorithm>

#include "machine/RegFile.h"

namespace winsim {
namespace {

using namespace std::string_view_literals;

template <typename Text>
std::size_t LineAt(const Text& text, std::size_t position) {
  return 1 + static_cast<std::size_t>(
                 std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(position), u'\n'));
}

std::u16string FromUtf16(std::string_view bytes, bool bigEndian) {
  std::u16string text(bytes.size() / 2, u'\0');
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto first = static_cast<std::uint8_t>(bytes[2 * i]);
    const auto second = static_cast<std::uint8_t>(bytes[2 * i + 1]);
    text[i] = static_cast<char16_t>(bigEndian ? first << 8 | second : second << 8 | first);
  }
  return text;
}

}  // namespace

RegFileText DecodeRegFile(std::string_view bytes, const std::string& name, const CodePage& ansiCodePage) {
  RegFileText result;
  const bool hasMark = bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF");
  // Without a mark, the first letter of the header tells.
  const bool bigEndian = bytes.starts_with("\xFE\xFF") || bytes.starts_with("\0W"sv);
  if (hasMark || bigEndian || bytes.starts_with("W\0"sv)) {
    bytes.remove_prefix(hasMark ? 2 : 0);
    result.bytesPerUnit = 2;
    result.units = FromUtf16(bytes, bigEndian);
    if (bytes.size() % 2 != 0) {
      throw RegFileError(name, LineAt(result.units, result.units.size()),
                         "the file ends within a character: expected UTF-16 of two bytes each");
    }
  } else if (bytes.starts_with("REGEDIT4")) {
    result.isOld = true;
    result.units = ansiCodePage.Decode(bytes);
    const auto high =
        std::find_if(bytes.begin(), bytes.end(), [](char c) { return static_cast<unsigned char>(c) > 127; });
    if (high != bytes.end()) {
      result.ansiLine = LineAt(bytes, static_cast<std::size_t>(high - bytes.begin()));
    }
  } else {
    if (bytes.starts_with("\xEF\xBB\xBF")) {
      bytes.remove_prefix(3);
    }
    result.units = FromUtf8(bytes);
    const std::string again = ToUtf8(result.units);
    if (again != bytes) {
      const auto difference = std::mismatch(again.begin(), again.end(), bytes.begin(), bytes.end()).first;
      throw RegFileError(name, LineAt(again, static_cast<std::size_t>(difference - again.begin())),
                         "expected UTF-16 or UTF-8");
    }
  }
  return result;
}

}  // namespace winsim
