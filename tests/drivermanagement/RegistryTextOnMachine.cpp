#include "RegistryTextOnMachine.h"

#include <iomanip>
#include <sstream>

#include "machine/Text.h"

namespace {

std::string ValueText(const winsim::RegistryValue& value) {
  constexpr std::uint32_t text = 1, expandable = 2, binary = 3, number = 4, texts = 7;
  std::ostringstream out;
  if (value.type != text && value.type != binary && value.type != number) out << "type" << value.type << ":";
  if (value.type == text || value.type == expandable) {
    out << '"' << winsim::ToUtf8(value.Text()) << '"';
  } else if (value.type == texts) {
    for (const std::u16string& item : value.Texts())
      out << '"' << winsim::ToUtf8(item) << '"';
  } else if (value.type == number && value.data.size() == 4) {
    out << (value.data[0] | value.data[1] << 8 | value.data[2] << 16 | value.data[3] << 24);
  } else {
    for (const unsigned int byte : value.data)
      out << std::hex << std::setw(2) << std::setfill('0') << byte;
  }
  return out.str();
}

std::string NodeText(const winsim::RegistryNode& node) {
  std::string text;
  const auto add = [&](const std::string& item) { text += (text.empty() ? "" : " ") + item; };
  for (const auto& [name, value] : node.values)
    add(winsim::ToUtf8(name) + "=" + ValueText(value));
  for (const auto& [name, child] : node.Children())
    add(winsim::ToUtf8(name) + "{" + NodeText(*child) + "}");
  return text;
}

}  // namespace

std::string RegistryText(winsim::Registry& registry, std::u16string_view path) {
  const winsim::RegistryNode* const node = registry.Find(path);
  return node ? NodeText(*node) : "none";
}
