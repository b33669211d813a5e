#include "machine/RegFile.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <system_error>
#include <vector>

#include "machine/RegFileText.h"

namespace winsim {
namespace {

constexpr std::u16string_view Header = u"Windows Registry Editor Version 5.00";
constexpr std::u16string_view OldHeader = u"REGEDIT4";
constexpr std::u16string_view RootName = u"HKEY_LOCAL_MACHINE";

constexpr std::uint32_t TypeString = 1;
constexpr std::uint32_t TypeExpandString = 2;
constexpr std::uint32_t TypeBinary = 3;
constexpr std::uint32_t TypeStrings = 7;

constexpr std::uint64_t ProgressStep = 1 << 20;

int HexDigit(char16_t unit) {
  if (unit >= u'0' && unit <= u'9') {
    return unit - u'0';
  }
  const char16_t lower = unit | 0x20;
  return lower >= u'a' && lower <= u'f' ? lower - u'a' + 10 : -1;
}

bool IsBlank(char16_t unit) {
  return unit == u' ' || unit == u'\t' || unit == u'\r';
}

class Parser {
 public:
  Parser(std::string_view bytes, const std::string& name, Registry& registry, const RegFileProgress& progress,
         const CodePage& codePage)
      : m_name(name), m_registry(registry), m_progress(progress), m_codePage(codePage), m_size(bytes.size()) {
    RegFileText text = DecodeRegFile(bytes, name, codePage);
    m_text = std::move(text.units);
    m_bytesPerUnit = text.bytesPerUnit;
    m_isOld = text.isOld;
    m_ansiLine = text.ansiLine;
  }

  /// Returns the line of the first byte that depends on the code page.
  std::size_t Parse() {
    ParseHeader();
    while (SkipBlanks()) {
      switch (Peek()) {
        case u'\n':
          EndLine();
          break;
        case u';':
          m_position = LineEnd();
          break;
        case u'[':
          ParseKey();
          break;
        case u'"':
        case u'@':
          ParseValue();
          break;
        default:
          Fail("expected a key in brackets, a value or a comment");
      }
      ReportProgress();
    }
    if (m_progress) {
      m_progress(m_size, m_size);
    }
    return m_ansiLine;
  }

 private:
  [[noreturn]] void Fail(const std::string& text) const { FailAt(m_line, text); }
  [[noreturn]] void FailAt(std::size_t line, const std::string& text) const {
    throw RegFileError(m_name, line, text);
  }

  char16_t Peek() const { return m_position < m_text.size() ? m_text[m_position] : u'\0'; }

  /// False at the end of the file.
  bool SkipBlanks() {
    while (m_position < m_text.size() && IsBlank(m_text[m_position])) {
      ++m_position;
    }
    return m_position < m_text.size();
  }

  void EndLine() {
    ++m_position;
    ++m_line;
  }

  std::size_t LineEnd() const { return std::min(m_text.find(u'\n', m_position), m_text.size()); }

  /// Only a comment may follow on this line.
  void ExpectLineEnd(std::size_t line) {
    if (SkipBlanks() && Peek() != u'\n' && Peek() != u';') {
      FailAt(line, "expected the end of the line behind the value");
    }
  }

  bool Take(std::u16string_view word) {
    if (!EqualsIgnoringCase(std::u16string_view(m_text).substr(m_position, word.size()), word)) {
      return false;
    }
    m_position += word.size();
    return true;
  }

  void ParseHeader() {
    if (!Take(m_isOld ? OldHeader : Header) || (SkipBlanks() && Peek() != u'\n')) {
      Fail("not a registry file: expected the line \"" + ToUtf8(Header) + "\"");
    }
  }

  void ParseKey() {
    std::u16string_view line(m_text.data() + m_position, LineEnd() - m_position);
    m_position += line.size();
    const std::size_t last = line.find_last_not_of(u" \t\r");
    std::size_t bracket = last;
    if (line[last] != u']') {
      bracket = line.rfind(u']');
      const std::size_t behind =
          bracket == std::u16string_view::npos ? bracket : line.find_first_not_of(u" \t", bracket + 1);
      if (behind == std::u16string_view::npos || line[behind] != u';') {
        Fail("the key's name is cut off: expected a closing bracket");
      }
    }
    OpenKey(line.substr(1, bracket - 1));
  }

  void OpenKey(std::u16string_view path) {
    if (path.starts_with(u'-')) {
      Fail("deletes a key: expected only keys that exist");
    }
    const std::size_t rootEnd = std::min(path.find(u'\\'), path.size());
    if (!EqualsIgnoringCase(path.substr(0, rootEnd), RootName)) {
      Fail("a key below \"" + ToUtf8(path.substr(0, rootEnd)) + "\": expected one below " + ToUtf8(RootName));
    }
    path.remove_prefix(std::min(rootEnd + 1, path.size()));
    // Files list a key's children together: what the path shares with the last one need not be looked up.
    const std::size_t shared = static_cast<std::size_t>(
        std::mismatch(path.begin(), path.end(), m_path.begin(), m_path.end()).first - path.begin());
    const auto isShared = [&](const Level& level) {
      return level.end <= shared &&
             (level.end == path.size() || (level.end < path.size() && path[level.end] == u'\\'));
    };
    while (!m_levels.empty() && !isShared(m_levels.back())) {
      m_levels.pop_back();
    }
    RegistryNode* node = m_levels.empty() ? &m_registry.LocalMachine() : m_levels.back().node;
    std::size_t begin = m_levels.empty() ? 0 : m_levels.back().end + 1;
    while (begin < path.size()) {
      const std::size_t end = std::min(path.find(u'\\', begin), path.size());
      if (end == begin || end == path.size() - 1) {
        Fail("a part of the key's name is missing: expected one between two backslashes");
      }
      if (end - begin > Registry::MaxKeyName) {
        Fail("a part of the key's name is too long: expected at most 255 characters");
      }
      node = &m_registry.MakeChild(*node, path.substr(begin, end - begin));
      m_levels.push_back({end, node});
      begin = end + 1;
    }
    m_path = path;
    m_key = node;
    m_key->isWritten = true;
  }

  /// Reads a text in quotes, which may span lines.
  void ReadQuoted(std::u16string& result) {
    const std::size_t firstLine = m_line;
    result.clear();
    for (++m_position;;) {
      const std::size_t run = std::min(m_text.find_first_of(u"\"\\\n", m_position), m_text.size());
      result.append(m_text, m_position, run - m_position);
      m_position = run + 1;
      if (run == m_text.size()) {
        FailAt(firstLine, "the text in quotes is cut off: expected a closing quote");
      }
      if (m_text[run] == u'"') {
        return;
      }
      if (m_text[run] == u'\n') {
        ++m_line;
        result.push_back(u'\n');
        continue;
      }
      const char16_t escaped = Peek();
      if (escaped != u'\\' && escaped != u'"') {
        // On a later line it is more likely a key's: the quote that should have ended the text is missing.
        FailAt(firstLine, m_line == firstLine
                              ? "a single backslash in a text in quotes: expected \\\\ or \\\""
                              : "the text in quotes is cut off: expected a closing quote");
      }
      result.push_back(escaped);
      ++m_position;
    }
  }

  void ParseValue() {
    const std::size_t line = m_line;
    if (m_key == nullptr) {
      Fail("a value before the first key: expected a key in brackets");
    }
    if (Peek() == u'@') {
      ++m_position;
      m_valueName.clear();
    } else {
      ReadQuoted(m_valueName);
    }
    if (m_valueName.size() > Registry::MaxValueName) {
      FailAt(line, "the value's name is too long: expected at most 16383 characters");
    }
    if (!SkipBlanks() || Peek() != u'=') {
      FailAt(line, "the value is cut off, or a quote is missing: expected \"=\" behind its name");
    }
    ++m_position;
    SkipBlanks();
    RegistryValue value = ParseData(line);
    ExpectLineEnd(line);
    m_key->values.insert_or_assign(m_key->values.end(), m_valueName, std::move(value));
  }

  RegistryValue ParseData(std::size_t line) {
    if (Peek() == u'"') {
      ReadQuoted(m_string);
      return RegistryValue::String(m_string);
    }
    if (Take(u"dword:")) {
      return RegistryValue::Number(ReadNumber(8, line));
    }
    if (Take(u"hex:")) {
      return {TypeBinary, ReadBytes(line)};
    }
    if (Take(u"hex(")) {
      const std::size_t digits = m_text.find(u')', m_position) - m_position;
      if (digits == 0 || digits > 8) {
        FailAt(line, "expected the number of a type in parentheses, as in hex(2):");
      }
      const std::uint32_t type = ReadNumber(digits, line);
      if (!Take(u"):")) {
        FailAt(line, "expected \"):\" behind the number of the type");
      }
      return Convert({type, ReadBytes(line)});
    }
    if (Peek() == u'-') {
      FailAt(line, "deletes a value: expected only values that exist");
    }
    FailAt(line, "the value is cut off or of no known form: expected a text in quotes, dword: or hex:");
  }

  std::uint32_t ReadNumber(std::size_t digits, std::size_t line) {
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < digits; ++i, ++m_position) {
      const int digit = HexDigit(Peek());
      if (digit < 0) {
        FailAt(line, "the number is cut off: expected " + std::to_string(digits) + " hexadecimal digits");
      }
      number = number * 16 + static_cast<std::uint32_t>(digit);
    }
    return number;
  }

  /// Bytes separated by commas, on several lines where a line ends in a backslash.
  Bytes ReadBytes(std::size_t line) {
    Bytes bytes;
    SkipContinuation(line);
    if (!SkipBlanks() || Peek() == u'\n' || Peek() == u';') {
      return bytes;
    }
    for (;;) {
      const int high = HexDigit(Peek());
      const int low = m_position + 1 < m_text.size() ? HexDigit(m_text[m_position + 1]) : -1;
      if (high < 0 || low < 0) {
        Fail("the bytes are cut off: expected two hexadecimal digits");
      }
      bytes.push_back(static_cast<std::uint8_t>(16 * high + low));
      m_position += 2;
      SkipContinuation(line);
      if (Peek() != u',') {
        return bytes;
      }
      ++m_position;
      SkipContinuation(line);
    }
  }

  void SkipContinuation(std::size_t line) {
    while (SkipBlanks() && Peek() == u'\\') {
      ++m_position;
      if (!SkipBlanks() || Peek() != u'\n') {
        FailAt(line, "expected a further line of bytes behind the backslash");
      }
      EndLine();
    }
  }

  /// REGEDIT4 has the texts of the string types in the ANSI code page.
  RegistryValue Convert(RegistryValue value) {
    if (!m_isOld ||
        (value.type != TypeString && value.type != TypeExpandString && value.type != TypeStrings)) {
      return value;
    }
    if ((m_ansiLine == 0 || m_line < m_ansiLine) &&
        std::any_of(value.data.begin(), value.data.end(), [](std::uint8_t byte) { return byte > 127; })) {
      m_ansiLine = m_line;
    }
    const std::string_view bytes(reinterpret_cast<const char*>(value.data.data()), value.data.size());
    Bytes data;
    for (const char16_t unit : m_codePage.Decode(bytes)) {
      data.push_back(static_cast<std::uint8_t>(unit & 0xFF));
      data.push_back(static_cast<std::uint8_t>(unit >> 8));
    }
    return {value.type, std::move(data)};
  }

  void ReportProgress() {
    const std::uint64_t done = m_position * m_bytesPerUnit;
    if (m_progress && done - m_reported >= ProgressStep) {
      m_reported = done;
      m_progress(done, m_size);
    }
  }

  struct Level {
    std::size_t end;  // in the path
    RegistryNode* node;
  };

  const std::string& m_name;
  Registry& m_registry;
  const RegFileProgress& m_progress;
  const CodePage& m_codePage;
  std::uint64_t m_size;
  unsigned int m_bytesPerUnit = 1;
  bool m_isOld = false;
  std::size_t m_ansiLine = 0;
  std::u16string m_text;
  std::size_t m_position = 0;
  std::size_t m_line = 1;
  std::uint64_t m_reported = 0;
  std::u16string m_path;
  std::vector<Level> m_levels;
  RegistryNode* m_key = nullptr;
  std::u16string m_valueName;
  std::u16string m_string;
};

}  // namespace

RegFileError::RegFileError(const std::string& file, std::size_t line, const std::string& text)
    : std::runtime_error(file + ":" + std::to_string(line) + ": " + text), m_line(line), m_text(text) {}

std::size_t LoadRegFile(const std::filesystem::path& file, Registry& registry,
                        const RegFileProgress& progress, std::uint32_t ansiCodePage) {
  std::ifstream stream(file, std::ios::binary);
  std::string bytes(stream ? std::filesystem::file_size(file) : 0, '\0');
  if (!stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()))) {
    throw std::runtime_error("cannot be read: " + std::generic_category().message(errno));
  }
  return ParseRegFile(bytes, file.string(), registry, progress, ansiCodePage);
}

std::size_t ParseRegFile(std::string_view bytes, const std::string& name, Registry& registry,
                         const RegFileProgress& progress, std::uint32_t ansiCodePage) {
  const CodePage* const codePage = CodePage::Find(ansiCodePage);
  return Parser(bytes, name, registry, progress, *(codePage == nullptr ? CodePage::Find(1252) : codePage))
      .Parse();
}

}  // namespace winsim
