#include "machine/Registry.h"

#include <algorithm>
#include <utility>

namespace winsim {
namespace {

constexpr std::uint32_t FileNotFound = 2;
constexpr std::uint32_t AccessDenied = 5;
constexpr std::uint32_t InvalidParameter = 87;
constexpr std::uint32_t BadPathName = 161;
constexpr std::uint32_t KeyDeleted = 1018;

constexpr std::uint32_t DeleteAccess = 0x10000;
constexpr std::uint32_t ReadControlAccess = 0x20000;
constexpr std::uint32_t CreateSubKeyAccess = 4;

constexpr std::uint32_t TypeNumber = 4;
constexpr std::uint32_t TypeStrings = 7;

constexpr std::u16string_view Terminator{u"", 1};

/// Takes the first part off `path`, which has no separator in front afterwards; empty at the end.
std::u16string_view TakePart(std::u16string_view& path) {
  const auto skipSeparators = [&] {
    path.remove_prefix(std::min(path.find_first_not_of(u'\\'), path.size()));
  };
  skipSeparators();
  const std::u16string_view part = path.substr(0, path.find(u'\\'));
  path.remove_prefix(part.size());
  skipSeparators();
  return part;
}

void AppendUnits(Bytes& data, std::u16string_view text) {
  for (const char16_t unit : text) {
    data.push_back(static_cast<std::uint8_t>(unit & 0xFF));
    data.push_back(static_cast<std::uint8_t>(unit >> 8));
  }
}

bool IsRefused(const RegistryNode& node, std::uint32_t access) {
  return (node.deniedAccess & access & ~ReadControlAccess) != 0;
}

char16_t UnitAt(const Bytes& data, std::size_t index) {
  return static_cast<char16_t>(data[2 * index] | (data[2 * index + 1] << 8));
}

}  // namespace

RegistryValue RegistryValue::String(std::u16string_view text, std::uint32_t type) {
  RegistryValue value{type, {}};
  value.data.reserve(2 * text.size() + 2);
  AppendUnits(value.data, text);
  AppendUnits(value.data, Terminator);
  return value;
}

RegistryValue RegistryValue::Strings(const std::vector<std::u16string>& texts) {
  RegistryValue value{TypeStrings, {}};
  for (const std::u16string& text : texts) {
    AppendUnits(value.data, {text.c_str(), text.size() + 1});
  }
  AppendUnits(value.data, Terminator);
  return value;
}

RegistryValue RegistryValue::Number(std::uint32_t number) {
  RegistryValue value{TypeNumber, {}};
  for (unsigned int shift = 0; shift < 32; shift += 8) {
    value.data.push_back(static_cast<std::uint8_t>(number >> shift));
  }
  return value;
}

std::u16string RegistryValue::Text() const {
  std::u16string text;
  for (std::size_t i = 0; i < data.size() / 2 && UnitAt(data, i) != 0; ++i) {
    text.push_back(UnitAt(data, i));
  }
  return text;
}

std::vector<std::u16string> RegistryValue::Texts() const {
  std::vector<std::u16string> texts;
  std::u16string text;
  for (std::size_t i = 0; i < data.size() / 2; ++i) {
    if (const char16_t unit = UnitAt(data, i); unit != 0) {
      text.push_back(unit);
    } else if (text.empty()) {
      return texts;
    } else {
      texts.push_back(std::exchange(text, {}));
    }
  }
  if (!text.empty()) {
    texts.push_back(std::move(text));
  }
  return texts;
}

RegistryNode* RegistryNode::Child(std::u16string_view name) const {
  const auto found = m_children.find(name);
  if (found == m_children.end()) {
    return nullptr;
  }
  RegistryNode* const target = found->second->LinkTarget();
  return target == nullptr ? found->second.get() : target->IsDeleted() ? nullptr : target;
}

RegistryNode* RegistryNode::ChildAt(std::size_t index) {
  if (index >= m_children.size()) {
    return nullptr;
  }
  // From the nearest of the cursor and the two ends.
  if (const std::size_t fromCursor = m_cursorIndex > index ? m_cursorIndex - index : index - m_cursorIndex;
      m_cursor == m_children.end() || fromCursor > index) {
    m_cursor = m_children.begin();
    m_cursorIndex = 0;
  } else if (fromCursor > m_children.size() - 1 - index) {
    m_cursor = std::prev(m_children.end());
    m_cursorIndex = m_children.size() - 1;
  }
  for (; m_cursorIndex < index; ++m_cursorIndex) {
    ++m_cursor;
  }
  for (; m_cursorIndex > index; --m_cursorIndex) {
    --m_cursor;
  }
  return m_cursor->second.get();
}

std::u16string RegistryNode::Path() const {
  return m_parent == nullptr ? m_name : m_parent->Path() + u"\\" + m_name;
}

RegistryNode& RegistryNode::AddChild(std::u16string_view name) {
  const auto child = std::make_shared<RegistryNode>(std::u16string(name));
  child->m_parent = this;
  const std::size_t before = m_children.size();
  // In place of a link that leads nowhere.
  m_children.insert_or_assign(m_children.end(), child->Name(), child);
  if (m_children.size() != before && m_cursor != m_children.end() &&
      CaseInsensitiveLess()(name, m_cursor->first)) {
    ++m_cursorIndex;
  }
  return *child;
}

void RegistryNode::RemoveChild(Keys::iterator child) {
  if (m_cursor == child) {
    ++m_cursor;
  } else if (m_cursor != m_children.end() && CaseInsensitiveLess()(child->first, m_cursor->first)) {
    --m_cursorIndex;
  }
  const auto node = m_children.extract(child);
  node.mapped()->MarkDeleted();
}

void RegistryNode::MarkDeleted() {
  for (const auto& [name, child] : m_children) {
    child->MarkDeleted();
  }
  m_name = Path();
  m_parent = nullptr;
  m_deleted = true;
  m_children.clear();
  m_cursor = m_children.end();
  values.clear();
}

Registry::Registry()
    : m_localMachine(std::make_shared<RegistryNode>(u"HKLM")),
      m_currentUser(std::make_shared<RegistryNode>(u"HKCU")) {}

std::uint32_t Registry::Open(RegistryNode& from, std::u16string_view path, std::uint32_t access,
                             std::shared_ptr<RegistryNode>& result) {
  if (from.IsDeleted()) {
    return KeyDeleted;
  }
  if (path.starts_with(u'\\')) {
    return BadPathName;
  }
  RegistryNode* node = &from;
  while (!path.empty()) {
    const std::u16string_view part = TakePart(path);
    if (part.size() > MaxKeyName) {
      return InvalidParameter;
    }
    node = node->Child(part);
    if (node == nullptr) {
      return FileNotFound;
    }
  }
  if (IsRefused(*node, access)) {
    return AccessDenied;
  }
  result = node->shared_from_this();
  return 0;
}

std::uint32_t Registry::Create(RegistryNode& from, std::u16string_view path, std::uint32_t access,
                               std::shared_ptr<RegistryNode>& result, bool& created) {
  created = false;
  if (const std::uint32_t error = Open(from, path, access, result); error != FileNotFound) {
    return error;
  }
  RegistryNode* parent = &from;
  std::u16string_view missing = path;
  for (std::u16string_view rest = path; !rest.empty(); missing = rest) {
    RegistryNode* const child = parent->Child(TakePart(rest));
    if (child == nullptr) {
      break;
    }
    parent = child;
  }
  // Nothing is made unless all of it can be.
  for (std::u16string_view rest = missing; !rest.empty();) {
    if (TakePart(rest).size() > MaxKeyName) {
      return InvalidParameter;
    }
  }
  if (IsRefused(*parent, CreateSubKeyAccess)) {
    return AccessDenied;
  }
  while (!missing.empty()) {
    parent = &parent->AddChild(TakePart(missing));
  }
  created = true;
  result = parent->shared_from_this();
  return 0;
}

std::uint32_t Registry::Delete(RegistryNode& from, std::u16string_view path) {
  std::shared_ptr<RegistryNode> node;
  if (const std::uint32_t error = Open(from, path, DeleteAccess, node); error != 0) {
    return error;
  }
  if (node->m_parent == nullptr || !node->m_children.empty()) {
    return AccessDenied;
  }
  DeleteTree(*node);
  return 0;
}

RegistryNode* Registry::Find(std::u16string_view path) {
  RegistryNode* node = m_localMachine.get();
  if (std::u16string_view rest = path; EqualsIgnoringCase(TakePart(rest), u"HKCU")) {
    node = m_currentUser.get();
    path = rest;
  }
  while (node != nullptr && !path.empty()) {
    if (const std::u16string_view part = TakePart(path); !part.empty()) {
      node = node->Child(part);
    }
  }
  return node;
}

RegistryNode& Registry::Make(std::u16string_view path) {
  RegistryNode* node = m_localMachine.get();
  if (std::u16string_view rest = path; EqualsIgnoringCase(TakePart(rest), u"HKCU")) {
    node = m_currentUser.get();
    path = rest;
  }
  while (!path.empty()) {
    if (const std::u16string_view part = TakePart(path); !part.empty()) {
      node = &MakeChild(*node, part);
    }
  }
  return *node;
}

RegistryNode& Registry::MakeChild(RegistryNode& parent, std::u16string_view name) {
  RegistryNode* const child = parent.Child(name);
  return child != nullptr ? *child : parent.AddChild(name);
}

RegistryNode& Registry::Link(RegistryNode& parent, std::u16string_view name, RegistryNode& target) {
  if (const auto replaced = parent.m_children.find(name); replaced != parent.m_children.end()) {
    parent.RemoveChild(replaced);
  }
  RegistryNode& link = parent.AddChild(name);
  link.m_linkTarget = target.shared_from_this();
  return link;
}

void Registry::DeleteTree(std::u16string_view path) {
  if (RegistryNode* const node = Find(path); node != nullptr) {
    DeleteTree(*node);
  }
}

void Registry::DeleteTree(RegistryNode& node) {
  if (RegistryNode* const parent = node.Parent(); parent != nullptr) {
    parent->RemoveChild(parent->m_children.find(node.m_name));
  }
}

void Registry::SetValue(std::u16string_view path, std::u16string_view name, RegistryValue value) {
  Make(path).values.insert_or_assign(std::u16string(name), std::move(value));
}

void Registry::SetString(std::u16string_view path, std::u16string_view name, std::u16string_view text,
                         std::uint32_t type) {
  SetValue(path, name, RegistryValue::String(text, type));
}

void Registry::SetNumber(std::u16string_view path, std::u16string_view name, std::uint32_t number) {
  SetValue(path, name, RegistryValue::Number(number));
}

void Registry::SetBinary(std::u16string_view path, std::u16string_view name, Bytes data) {
  SetValue(path, name, {3, std::move(data)});
}

void Registry::DeleteValue(std::u16string_view path, std::u16string_view name) {
  if (RegistryNode* const node = Find(path); node != nullptr) {
    if (const auto value = node->values.find(name); value != node->values.end()) {
      node->values.erase(value);
    }
  }
}

const RegistryValue* Registry::GetValue(std::u16string_view path, std::u16string_view name) {
  RegistryNode* const node = Find(path);
  if (node == nullptr) {
    return nullptr;
  }
  const auto value = node->values.find(name);
  return value == node->values.end() ? nullptr : &value->second;
}

std::u16string Registry::GetString(std::u16string_view path, std::u16string_view name) {
  const RegistryValue* const value = GetValue(path, name);
  return value == nullptr ? std::u16string() : value->Text();
}

std::uint32_t Registry::GetNumber(std::u16string_view path, std::u16string_view name,
                                  std::uint32_t fallback) {
  const RegistryValue* const value = GetValue(path, name);
  if (value == nullptr || value->type != TypeNumber || value->data.size() != 4) {
    return fallback;
  }
  const Bytes& data = value->data;
  return data[0] | (std::uint32_t{data[1]} << 8) | (std::uint32_t{data[2]} << 16) |
         (std::uint32_t{data[3]} << 24);
}

}  // namespace winsim
