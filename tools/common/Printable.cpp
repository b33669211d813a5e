#include "common/Printable.h"

#include <fmt/format.h>

#include <array>
#include <bit>
#include <utility>

namespace tools {
namespace {

constexpr char32_t Malformed = U'\uFFFF';

/// Takes the first character off `text`; `Malformed` for a byte that begins none.
char32_t TakeCharacter(std::string_view& text) {
  const auto first = static_cast<unsigned char>(text.front());
  const auto length = static_cast<std::size_t>(std::countl_one(first));
  if (length == 0 || length == 1 || length > 4 || length > text.size()) {
    text.remove_prefix(1);
    return length == 0 ? first : Malformed;
  }
  char32_t character = first & (0x7Fu >> length);
  for (std::size_t i = 1; i < length; ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if ((byte & 0xC0) != 0x80) {
      text.remove_prefix(1);
      return Malformed;
    }
    character = character << 6 | (byte & 0x3F);
  }
  text.remove_prefix(length);
  return character;
}

bool IsInvisible(char32_t character) {
  static constexpr std::array<std::pair<char32_t, char32_t>, 10> ranges = {{{0x00, 0x1F},
                                                                            {0x7F, 0x9F},
                                                                            {0xAD, 0xAD},
                                                                            {0x61C, 0x61C},
                                                                            {0x200B, 0x200F},
                                                                            {0x2028, 0x202E},
                                                                            {0x2060, 0x206F},
                                                                            {0xFEFF, 0xFEFF},
                                                                            {0xFFF9, 0xFFFB},
                                                                            {0xE0000, 0xE007F}}};
  for (const auto& [first, last] : ranges) {
    if (character >= first && character <= last) {
      return true;
    }
  }
  return false;
}

/// `text` with each invisible character as `form` makes it, but for line breaks when these are kept.
std::string Replaced(std::string_view text, fmt::format_string<std::uint32_t> form, bool keepsLineBreaks) {
  std::string result;
  while (!text.empty()) {
    const std::string_view before = text;
    const char32_t character = TakeCharacter(text);
    if (character == Malformed) {
      result += '?';
    } else if (IsInvisible(character) && !(keepsLineBreaks && character == U'\n')) {
      result += fmt::format(form, static_cast<std::uint32_t>(character));
    } else {
      result += before.substr(0, before.size() - text.size());
    }
  }
  return result;
}

}  // namespace

std::string Printable(std::string_view text) {
  return Replaced(text, "<U+{:04X}>", true);
}

std::string OneLine(std::string_view text) {
  return Replaced(text, "<U+{:04X}>", false);
}

std::string PrintableJson(std::string_view document) {
  return Replaced(document, "\\u{:04x}", true);
}

}  // namespace tools
