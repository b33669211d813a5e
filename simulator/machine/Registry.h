#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "machine/Object.h"
#include "machine/Text.h"

namespace winsim {

using Bytes = std::vector<std::uint8_t>;

/// A value as stored: its registry type and raw bytes.
struct RegistryValue {
  std::uint32_t type = 0;
  Bytes data;
  bool operator==(const RegistryValue&) const = default;

  /// A value of a string type with its terminator (`type` 1 REG_SZ, 2 REG_EXPAND_SZ).
  static RegistryValue String(std::u16string_view text, std::uint32_t type = 1);
  /// A REG_MULTI_SZ value: each text with its terminator, and one more behind the last.
  static RegistryValue Strings(const std::vector<std::u16string>& texts);
  static RegistryValue Number(std::uint32_t number);

  /// The units up to the first terminator or the end of the data, whatever the type.
  std::u16string Text() const;
  /// The non-empty texts of a list, which ends at an empty one or with the data.
  std::vector<std::u16string> Texts() const;
};

/// One key. A deleted key lives on, marked and empty, while handles refer to it.
class RegistryNode : public std::enable_shared_from_this<RegistryNode> {
 public:
  using Keys = std::map<std::u16string, std::shared_ptr<RegistryNode>, CaseInsensitiveLess>;
  using Values = std::map<std::u16string, RegistryValue, CaseInsensitiveLess>;

  explicit RegistryNode(std::u16string name) : m_name(std::move(name)) {}

  const std::u16string& Name() const { return m_name; }
  /// Null for a root and for a deleted key.
  RegistryNode* Parent() const { return m_parent; }
  bool IsDeleted() const { return m_deleted; }
  const Keys& Children() const { return m_children; }
  /// The child called `name`, or where it leads when it is a link; null without one.
  RegistryNode* Child(std::u16string_view name) const;
  /// What a link leads to; null for any other key.
  RegistryNode* LinkTarget() const { return m_linkTarget.get(); }
  /// The child at `index` in the order of names, or null; a link is itself. Walking up or down by one costs
  /// constant time, also when keys come and go meanwhile.
  RegistryNode* ChildAt(std::size_t index);
  /// Path from the root's name on ("HKLM\System\..."); of a deleted key the path that it had.
  std::u16string Path() const;

  /// Access bits that opening, creating or deleting this key is refused with 5 for, and creating keys in it.
  /// READ_CONTROL, which KEY_READ and KEY_WRITE share, does not count.
  std::uint32_t deniedAccess = 0;
  /// The default value has an empty name.
  Values values;
  /// A registry file has a line for it, or for a link: for what it leads to, under its name, too.
  bool isWritten = false;

 private:
  friend class Registry;

  RegistryNode& AddChild(std::u16string_view name);
  /// Takes the child out and marks it, with everything below it, deleted.
  void RemoveChild(Keys::iterator child);
  void MarkDeleted();

  std::u16string m_name;
  RegistryNode* m_parent = nullptr;
  bool m_deleted = false;
  std::shared_ptr<RegistryNode> m_linkTarget;
  Keys m_children;
  // Where the last `ChildAt` found its answer.
  std::size_t m_cursorIndex = 0;
  Keys::iterator m_cursor = m_children.end();
};

/// The registry: HKEY_LOCAL_MACHINE and HKEY_CURRENT_USER. Names match without regard to case. Paths are
/// separated by backslashes; empty parts are skipped. Error codes are those of the registry functions (0 for
/// success).
class Registry {
 public:
  static constexpr std::size_t MaxKeyName = 255;
  static constexpr std::size_t MaxValueName = 16383;

  Registry();
  Registry(const Registry&) = delete;
  Registry& operator=(const Registry&) = delete;

  RegistryNode& LocalMachine() { return *m_localMachine; }
  RegistryNode& CurrentUser() { return *m_currentUser; }

  // --- the functions' work; `access` has the requested bits, `path` may be empty and then means `from` ---

  /// 2 when the key or one on the way is missing, 5 when `access` is refused, 87 for a part of more than 255
  /// units, 161 (ERROR_BAD_PATHNAME) for a path that begins with a backslash, 1018 when `from` is deleted.
  std::uint32_t Open(RegistryNode& from, std::u16string_view path, std::uint32_t access,
                     std::shared_ptr<RegistryNode>& result);
  /// Like `Open`, but makes what is missing.
  std::uint32_t Create(RegistryNode& from, std::u16string_view path, std::uint32_t access,
                       std::shared_ptr<RegistryNode>& result, bool& created);
  /// Like `Open`; a key with subkeys and a root are refused with 5.
  std::uint32_t Delete(RegistryNode& from, std::u16string_view path);

  // --- conveniences for set-up and inspection; they ignore refusals. Paths begin below HKEY_LOCAL_MACHINE,
  // or with "HKCU\" below HKEY_CURRENT_USER ---

  /// The key, or null.
  RegistryNode* Find(std::u16string_view path);
  /// The key, made when it is missing.
  RegistryNode& Make(std::u16string_view path);
  /// The child of `parent`, made when it is missing.
  RegistryNode& MakeChild(RegistryNode& parent, std::u16string_view name);
  /// Makes a child of `parent` that leads to `target`, in place of one of that name: who opens it, or
  /// something below it, opens the target.
  RegistryNode& Link(RegistryNode& parent, std::u16string_view name, RegistryNode& target);
  /// Deletes the key with everything below it; nothing happens when it does not exist.
  void DeleteTree(std::u16string_view path);
  void DeleteTree(RegistryNode& node);
  void SetValue(std::u16string_view path, std::u16string_view name, RegistryValue value);
  void SetString(std::u16string_view path, std::u16string_view name, std::u16string_view text,
                 std::uint32_t type = 1);
  void SetNumber(std::u16string_view path, std::u16string_view name, std::uint32_t number);
  void SetBinary(std::u16string_view path, std::u16string_view name, Bytes data);
  void DeleteValue(std::u16string_view path, std::u16string_view name);
  /// The value, or null.
  const RegistryValue* GetValue(std::u16string_view path, std::u16string_view name);
  /// Text of a string value up to its terminator; empty when there is none.
  std::u16string GetString(std::u16string_view path, std::u16string_view name);
  /// The number of a REG_DWORD value, or `fallback`.
  std::uint32_t GetNumber(std::u16string_view path, std::u16string_view name, std::uint32_t fallback = 0);
  /// Refuses these access bits of the key, which is made when it is missing.
  void Deny(std::u16string_view path, std::uint32_t access) { Make(path).deniedAccess = access; }

 private:
  std::shared_ptr<RegistryNode> m_localMachine;
  std::shared_ptr<RegistryNode> m_currentUser;
};

}  // namespace winsim
