#include <cerrno>
#include <fstream>
#include <system_error>

#include "machine/RegFile.h"

namespace winsim {
namespace {

constexpr std::u16string_view Header = u"Windows Registry Editor Version 5.00";
constexpr std::u16string_view RootName = u"HKEY_LOCAL_MACHINE";

constexpr std::uint32_t TypeString = 1;
constexpr std::uint32_t TypeBinary = 3;
constexpr std::uint32_t TypeNumber = 4;

class Formatter {
 public:
  std::string Format(Registry& registry) {
    m_text = u"\uFEFF";
    m_text += Header;
    m_text += u"\r\n\r\n";
    const RegistryNode& root = registry.LocalMachine();
    m_path = RootName;
    const bool isImplied = root.values.empty() && !root.isWritten;
    if (!isImplied) {
      AddKey(root);
    }
    AddChildren(root, isImplied);
    std::string bytes;
    bytes.reserve(2 * m_text.size());
    for (const char16_t unit : m_text) {
      bytes.push_back(static_cast<char>(unit & 0xFF));
      bytes.push_back(static_cast<char>(unit >> 8));
    }
    return bytes;
  }

 private:
  void AddChildren(const RegistryNode& node, bool isTop) {
    const std::size_t length = m_path.size();
    isTop = isTop && node.Children().size() == 1;
    for (const auto& [name, child] : node.Children()) {
      m_path += u'\\';
      m_path += name;
      const bool isLink = child->LinkTarget() != nullptr;
      if (!isLink || child->isWritten) {
        const RegistryNode& shown = isLink ? *child->LinkTarget() : *child;
        const bool isImplied =
            isTop && !shown.isWritten && shown.values.empty() && shown.Children().size() == 1;
        if (!isImplied) {
          AddKey(shown);
        }
        AddChildren(shown, isImplied);
      }
      m_path.resize(length);
    }
  }

  void AddKey(const RegistryNode& node) {
    m_text += u'[';
    m_text += m_path;
    m_text += u"]\r\n";
    for (const auto& [name, value] : node.values) {
      m_lineBegin = m_text.size();
      if (name.empty()) {
        m_text += u'@';
      } else {
        AddQuoted(name);
      }
      m_text += u'=';
      AddData(value);
      m_text += u"\r\n";
    }
    m_text += u"\r\n";
  }

  void AddData(const RegistryValue& value) {
    if (value.type == TypeString) {
      if (const std::u16string text = value.Text(); value == RegistryValue::String(text)) {
        return AddQuoted(text);
      }
    }
    if (value.type == TypeNumber && value.data.size() == 4) {
      m_text += u"dword:";
      for (std::size_t i = 4; i-- > 0;) {
        AddHex(value.data[i]);
      }
      return;
    }
    m_text += u"hex";
    if (value.type != TypeBinary) {
      m_text += u'(';
      unsigned int shift = 28;
      while (shift > 0 && (value.type >> shift) == 0) {
        shift -= 4;
      }
      for (;; shift -= 4) {
        AddHexDigit((value.type >> shift) & 0xF);
        if (shift == 0) {
          break;
        }
      }
      m_text += u')';
    }
    m_text += u':';
    for (std::size_t i = 0; i < value.data.size(); ++i) {
      AddHex(value.data[i]);
      if (i + 1 < value.data.size()) {
        m_text += u',';
        if (m_text.size() - m_lineBegin >= LineLimit) {
          m_text += u"\\\r\n";
          m_lineBegin = m_text.size();
          m_text += u"  ";
        }
      }
    }
  }

  void AddQuoted(std::u16string_view text) {
    m_text += u'"';
    for (const char16_t unit : text) {
      if (unit == u'"' || unit == u'\\') {
        m_text += u'\\';
      }
      m_text += unit;
    }
    m_text += u'"';
  }

  void AddHex(unsigned int byte) {
    AddHexDigit(byte >> 4);
    AddHexDigit(byte & 0xF);
  }
  void AddHexDigit(unsigned int digit) { m_text += u"0123456789abcdef"[digit]; }

  /// A line of bytes is broken behind the comma that reaches this column.
  static constexpr std::size_t LineLimit = 77;

  std::u16string m_text;
  std::u16string m_path;
  std::size_t m_lineBegin = 0;
};

}  // namespace

void SaveRegFile(const std::filesystem::path& file, Registry& registry) {
  const std::string bytes = FormatRegFile(registry);
  std::filesystem::path unfinished = file;
  unfinished += ".unfinished";
  std::ofstream stream(unfinished, std::ios::binary);
  stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  stream.close();
  if (!stream) {
    throw std::runtime_error(unfinished.string() +
                             ": cannot be written: " + std::generic_category().message(errno));
  }
  std::filesystem::rename(unfinished, file);
}

std::string FormatRegFile(Registry& registry) {
  return Formatter().Format(registry);
}

}  // namespace winsim
