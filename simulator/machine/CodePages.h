#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace winsim {

class Machine;

/// One code page. Characters that it lacks become its default character.
class CodePage {
 public:
  static constexpr std::uint32_t Utf8 = 65001;

  static constexpr const char* KnownNumbers = "437, 850, 932, 936, 949, 950, 1250 to 1258 or 65001";
  /// The page of one of those numbers; null for any other.
  static const CodePage* Find(std::uint32_t number);

  std::uint32_t Number() const { return m_number; }
  /// 1, 2, or 4 for UTF-8.
  unsigned int MaximalCharacterSize() const { return m_maximalSize; }
  /// The first bytes of two-byte characters, as pairs of first and last.
  const std::vector<std::uint8_t>& LeadByteRanges() const { return m_leadByteRanges; }
  bool IsLeadByte(std::uint8_t byte) const;

  /// Bytes that stand for nothing become '?', U+30FB on page 932 and U+FFFD in UTF-8; `malformed` tells of
  /// them.
  std::u16string Decode(std::string_view bytes, bool* malformed = nullptr) const;
  /// What the page lacks becomes `substitute`; `substituted` tells of it. In UTF-8 unpaired surrogates become
  /// U+FFFD instead. Ends in front of the first character that `room` bytes have no room for.
  std::string Encode(std::u16string_view text, std::string_view substitute = "?", bool* substituted = nullptr,
                     std::size_t room = std::string::npos) const;

 private:
  CodePage(std::uint32_t number, unsigned int maximalSize, std::vector<std::uint8_t> leadByteRanges);
  friend struct CodePageList;
  void ReadTables();
  /// Empty for a unit that the page lacks.
  std::string BytesOfUnit(char16_t unit) const;
  bool IsUtf8() const { return m_number == Utf8; }

  std::uint32_t m_number;
  unsigned int m_maximalSize;
  std::vector<std::uint8_t> m_leadByteRanges;
  std::unordered_map<std::uint16_t, char16_t> m_toUnits;  // by byte, or lead byte * 256 + second byte
  std::unordered_map<char16_t, std::uint16_t> m_fromUnits;
};

/// Text in the machine's ANSI code page, as the A functions take and give it; null is empty.
std::u16string FromAnsi(const Machine& machine, const char* text);
std::u16string FromAnsi(const Machine& machine, std::string_view bytes);
std::string ToAnsi(const Machine& machine, std::u16string_view text);

/// File names of the A functions: in the ANSI code page, or the OEM one where the file functions use that.
std::u16string FromAnsiFileName(const Machine& machine, const char* name);
std::string ToAnsiFileName(const Machine& machine, std::u16string_view name);

}  // namespace winsim
