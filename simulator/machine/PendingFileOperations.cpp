#include <utility>

#include "machine/FileSystem.h"
#include "machine/Machine.h"
#include "machine/Paths.h"

// Operations that are left to the next start of the machine. The registry keeps them as pairs of strings,
// source and target, the target empty for a deletion; so the value has empty strings in its middle.

namespace winsim {
namespace {

constexpr std::uint32_t PathNotFound = 3;
constexpr std::uint32_t AccessDenied = 5;
constexpr std::uint32_t InvalidParameter = 87;
constexpr std::uint32_t MoveReplaceExisting = 1;
constexpr std::uint32_t MoveCopyAllowed = 2;
constexpr std::uint32_t KeySetValue = 2;
constexpr std::uint32_t MultiString = 7;

const std::u16string SessionManager = u"System\\CurrentControlSet\\Control\\Session Manager";
const std::u16string ValueName = u"PendingFileRenameOperations";

/// The strings of the value in their pairs, without what follows the last whole pair.
std::vector<std::u16string> ReadPairs(const Bytes& data) {
  std::vector<std::u16string> strings;
  std::u16string text;
  for (std::size_t i = 0; i + 1 < data.size(); i += 2) {
    const char16_t unit = static_cast<char16_t>(data[i] | data[i + 1] << 8);
    if (unit == 0) {
      strings.push_back(std::exchange(text, {}));
    } else {
      text += unit;
    }
  }
  strings.resize(strings.size() / 2 * 2);
  return strings;
}

Bytes WritePairs(const std::vector<std::u16string>& strings) {
  Bytes data;
  const auto append = [&data](std::u16string_view text) {
    for (const char16_t unit : text) {
      data.push_back(static_cast<std::uint8_t>(unit & 0xFF));
      data.push_back(static_cast<std::uint8_t>(unit >> 8));
    }
    data.insert(data.end(), 2, 0);
  };
  for (const std::u16string& text : strings) {
    append(text);
  }
  append({});
  return data;
}

}  // namespace

std::uint32_t FileSystem::DelayMove(const PathContext& context, std::u16string_view source,
                                    const std::optional<std::u16string>& target, std::uint32_t flags) {
  if ((flags & MoveCopyAllowed) != 0) {
    return InvalidParameter;
  }
  const std::u16string from = NtPath(source, context.currentDirectory);
  std::u16string to;
  if (target.has_value()) {
    to = NtPath(*target, context.currentDirectory);
  }
  if (from.empty() || (target.has_value() && to.empty())) {
    return PathNotFound;
  }
  if (!to.empty() && (flags & MoveReplaceExisting) != 0) {
    to.insert(0, u"!");
  }
  const RegistryNode* const key = m_machine.registry.Find(SessionManager);
  if (key != nullptr && (key->deniedAccess & KeySetValue) != 0) {
    return AccessDenied;
  }
  const RegistryValue* const value = m_machine.registry.GetValue(SessionManager, ValueName);
  std::vector<std::u16string> pairs =
      value == nullptr ? std::vector<std::u16string>() : ReadPairs(value->data);
  pairs.push_back(from);
  pairs.push_back(to);
  m_machine.registry.Make(SessionManager).values[ValueName] = {MultiString, WritePairs(pairs)};
  return 0;
}

void FileSystem::RunPendingOperations() {
  const RegistryValue* const value = m_machine.registry.GetValue(SessionManager, ValueName);
  if (value == nullptr) {
    return;
  }
  const std::vector<std::u16string> pairs = ReadPairs(value->data);
  for (std::size_t i = 0; i < pairs.size(); i += 2) {
    RunPendingOperation(pairs[i], pairs[i + 1]);
  }
  m_machine.registry.Find(SessionManager)->values.erase(ValueName);
}

void FileSystem::RunPendingOperation(const std::u16string& source, std::u16string target) {
  const auto find = [this](std::u16string_view path) {
    // Newer systems mark some entries with an asterisk and a digit.
    if (path.size() > 2 && path[0] == u'*' && path[1] >= u'0' && path[1] <= u'9') {
      path.remove_prefix(2);
    }
    Location nowhere;
    nowhere.error = PathNotFound;
    return path.starts_with(u"\\??\\") ? ResolveNtPath(path) : nowhere;
  };
  const Location from = find(source);
  if (from.MissingError() != 0 || from.folder == nullptr) {
    return;
  }
  if (target.empty()) {
    const bool isEmptyFolder = from.node->IsFolder() && from.node->children.empty();
    if (isEmptyFolder || DeletionError(*from.node) == 0) {
      Unlink(*from.node);
    }
    return;
  }
  const bool replace = target.front() == u'!';
  const Location to = find(replace ? target.substr(1) : target);
  if (to.error == 0 && to.folder != nullptr) {
    Rename(from, to, replace);
  }
}

}  // namespace winsim
