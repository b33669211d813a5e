#include "machine/CodePages.h"

#include <iconv.h>

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>

#include "machine/Machine.h"

namespace winsim {
namespace {

/// A conversion of the host for single characters.
class HostConversion {
 public:
  HostConversion(const std::string& to, const std::string& from)
      : m_conversion(iconv_open(to.c_str(), from.c_str())) {
    if (m_conversion == reinterpret_cast<iconv_t>(-1)) {
      throw std::runtime_error("The host cannot convert " + from + " to " + to + ".");
    }
  }
  ~HostConversion() { iconv_close(m_conversion); }
  HostConversion(const HostConversion&) = delete;
  HostConversion& operator=(const HostConversion&) = delete;

  /// The bytes of one converted character, empty when there is none.
  std::string Convert(std::string from) {
    char room[8];
    char* in = from.data();
    char* out = room;
    std::size_t inLeft = from.size();
    std::size_t outLeft = sizeof room;
    iconv(m_conversion, nullptr, nullptr, nullptr, nullptr);
    const std::size_t result = iconv(m_conversion, &in, &inLeft, &out, &outLeft);
    // Some pages hold a letter back until they know that no accent follows.
    iconv(m_conversion, nullptr, nullptr, &out, &outLeft);
    return result == 0 && inLeft == 0 ? std::string(room, sizeof room - outLeft) : std::string();
  }

 private:
  iconv_t m_conversion;
};

std::string BytesOf(std::uint16_t character) {
  std::string bytes;
  if (character > 0xFF) {
    bytes.push_back(static_cast<char>(character >> 8));
  }
  bytes.push_back(static_cast<char>(character & 0xFF));
  return bytes;
}

bool IsSurrogate(char16_t unit) {
  return unit >= 0xD800 && unit < 0xE000;
}

bool IsPair(std::u16string_view text) {
  return text.size() == 2 && IsSurrogate(text[0]) && text[0] < 0xDC00 && IsSurrogate(text[1]) &&
         text[1] >= 0xDC00;
}

}  // namespace

/// Every page that was asked for so far.
struct CodePageList {
  std::mutex mutex;
  std::map<std::uint32_t, std::unique_ptr<CodePage>> pages;

  static std::unique_ptr<CodePage> Make(std::uint32_t number) {
    static const std::map<std::uint32_t, std::vector<std::uint8_t>> twoByte = {
        {932, {0x81, 0x9F, 0xE0, 0xFC}}, {936, {0x81, 0xFE}}, {949, {0x81, 0xFE}}, {950, {0x81, 0xFE}}};
    if (const auto found = twoByte.find(number); found != twoByte.end()) {
      return std::unique_ptr<CodePage>(new CodePage(number, 2, found->second));
    }
    if (number == 437 || number == 850 || (number >= 1250 && number <= 1258)) {
      return std::unique_ptr<CodePage>(new CodePage(number, 1, {}));
    }
    return std::unique_ptr<CodePage>(number == CodePage::Utf8 ? new CodePage(number, 4, {}) : nullptr);
  }
};

const CodePage* CodePage::Find(std::uint32_t number) {
  static CodePageList list;
  const std::lock_guard lock(list.mutex);
  const auto [entry, isNew] = list.pages.try_emplace(number);
  if (isNew) {
    entry->second = CodePageList::Make(number);
  }
  return entry->second.get();
}

CodePage::CodePage(std::uint32_t number, unsigned int maximalSize, std::vector<std::uint8_t> leadByteRanges)
    : m_number(number), m_maximalSize(maximalSize), m_leadByteRanges(std::move(leadByteRanges)) {
  if (!IsUtf8()) {
    ReadTables();
  }
}

void CodePage::ReadTables() {
  const std::string name = "CP" + std::to_string(m_number);
  HostConversion decode("UTF-16LE", name);
  HostConversion encode(name, "UTF-16LE");
  const auto add = [&](std::uint16_t character) {
    const std::string unit = decode.Convert(BytesOf(character));
    if (unit.size() == 2) {
      m_toUnits[character] =
          static_cast<char16_t>(static_cast<std::uint8_t>(unit[0]) | static_cast<std::uint8_t>(unit[1]) << 8);
    } else if (character >= 0x80 && character < 0xA0 && m_number >= 1250) {
      m_toUnits[character] = character;  // Windows gives the C1 controls to the holes of its own pages
    }
  };
  for (std::uint16_t byte = 0; byte < 0x100; ++byte) {
    if (byte < 0x80) {
      m_toUnits[byte] = byte;
    } else if (!IsLeadByte(static_cast<std::uint8_t>(byte))) {
      add(byte);
    } else {
      for (std::uint16_t second = 0x40; second < 0xFF; ++second) {
        add(static_cast<std::uint16_t>(byte << 8 | second));
      }
    }
  }
  for (const auto& [character, unit] : m_toUnits) {
    // Where several characters stand for one unit, the host knows which one is written.
    const std::string bytes = encode.Convert({static_cast<char>(unit & 0xFF), static_cast<char>(unit >> 8)});
    const bool isThis = bytes.empty() || bytes == BytesOf(character);
    if (isThis || character < 0x80) {
      m_fromUnits[unit] = character;
    }
  }
}

bool CodePage::IsLeadByte(std::uint8_t byte) const {
  for (std::size_t i = 0; i < m_leadByteRanges.size(); i += 2) {
    if (byte >= m_leadByteRanges[i] && byte <= m_leadByteRanges[i + 1]) {
      return true;
    }
  }
  return false;
}

std::u16string CodePage::Decode(std::string_view bytes, bool* malformed) const {
  bool anyMalformed = false;
  std::u16string result;
  if (IsUtf8()) {
    result = FromUtf8(bytes);
    anyMalformed = ToUtf8(result) != bytes;
  } else {
    result.reserve(bytes.size());
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      auto character = static_cast<std::uint16_t>(static_cast<std::uint8_t>(bytes[i]));
      // A lead byte at the end, or before a terminator, stands alone.
      if (IsLeadByte(static_cast<std::uint8_t>(character)) && i + 1 < bytes.size() && bytes[i + 1] != 0) {
        character = static_cast<std::uint16_t>(character << 8 | static_cast<std::uint8_t>(bytes[++i]));
      }
      const auto found = m_toUnits.find(character);
      anyMalformed |= found == m_toUnits.end();
      result += found != m_toUnits.end() ? found->second : m_number == 932 ? u'\u30FB' : u'?';
    }
  }
  if (malformed != nullptr) {
    *malformed = anyMalformed;
  }
  return result;
}

std::string CodePage::BytesOfUnit(char16_t unit) const {
  if (unit < 0x80) {
    return {static_cast<char>(unit)};
  }
  const auto found = m_fromUnits.find(unit);
  return found == m_fromUnits.end() ? std::string() : BytesOf(found->second);
}

std::string CodePage::Encode(std::u16string_view text, std::string_view substitute, bool* substituted,
                             std::size_t room) const {
  bool anySubstituted = false;
  std::string result;
  for (std::size_t i = 0, length = 1; i < text.size(); i += length) {
    length = IsUtf8() && IsPair(text.substr(i, 2)) ? 2 : 1;
    std::string bytes = IsUtf8() ? ToUtf8(text.substr(i, length)) : BytesOfUnit(text[i]);
    const bool isLacking = bytes.empty() || (IsUtf8() && length == 1 && IsSurrogate(text[i]));
    if (bytes.empty()) {
      bytes = substitute;
    }
    if (bytes.size() > room - result.size()) {
      break;
    }
    result += bytes;
    anySubstituted |= isLacking;
  }
  if (substituted != nullptr) {
    *substituted = anySubstituted;
  }
  return result;
}

namespace {

const CodePage& PageOf(std::uint32_t number) {
  const CodePage* const page = CodePage::Find(number);
  if (page == nullptr) {
    throw std::runtime_error("The simulated machine has no code page " + std::to_string(number) + ".");
  }
  return *page;
}

const CodePage& FilePage(const Machine& machine) {
  return PageOf(machine.settings.fileApisUseAnsi ? machine.settings.ansiCodePage
                                                 : machine.settings.oemCodePage);
}

}  // namespace

std::u16string FromAnsi(const Machine& machine, const char* text) {
  return text == nullptr ? std::u16string() : FromAnsi(machine, std::string_view(text));
}

std::u16string FromAnsi(const Machine& machine, std::string_view bytes) {
  return PageOf(machine.settings.ansiCodePage).Decode(bytes);
}

std::string ToAnsi(const Machine& machine, std::u16string_view text) {
  return PageOf(machine.settings.ansiCodePage).Encode(text);
}

std::u16string FromAnsiFileName(const Machine& machine, const char* name) {
  return name == nullptr ? std::u16string() : FilePage(machine).Decode(name);
}

std::string ToAnsiFileName(const Machine& machine, std::u16string_view name) {
  return FilePage(machine).Encode(name);
}

}  // namespace winsim
