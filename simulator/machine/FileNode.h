#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "machine/Text.h"

namespace winsim {

using Bytes = std::vector<std::uint8_t>;

class FileObject;

/// 100-nanosecond units since 1601 (UTC).
struct FileTimes {
  std::uint64_t creation = 0;
  std::uint64_t lastAccess = 0;
  std::uint64_t lastWrite = 0;
  bool operator==(const FileTimes&) const = default;
};

/// A file or folder on a disk. A deleted one lives on, without a parent, while something refers to it.
class FileNode {
 public:
  static constexpr std::uint32_t ReadOnly = 0x01;
  static constexpr std::uint32_t Hidden = 0x02;
  static constexpr std::uint32_t System = 0x04;
  static constexpr std::uint32_t Directory = 0x10;
  static constexpr std::uint32_t Archive = 0x20;
  static constexpr std::uint32_t Normal = 0x80;
  /// The most bytes that a file, or memory that is mapped, can have beside those of the host.
  static constexpr std::uint64_t MostBytes = std::uint64_t{1} << 32;

  FileNode(std::u16string nodeName, std::uint32_t nodeAttributes, const FileTimes& nodeTimes)
      : name(std::move(nodeName)), attributes(nodeAttributes), times(nodeTimes) {}

  /// As first spelled; that of a root is "C:" or "\\server\share".
  std::u16string name;
  /// Stored bits; Normal is never among them.
  std::uint32_t attributes;
  FileTimes times;
  FileNode* parent = nullptr;
  std::map<std::u16string, std::shared_ptr<FileNode>, CaseInsensitiveLess> children;

  // --- what is going on with it; nothing of this outlives a restart ---
  /// Open handles to it.
  std::vector<FileObject*> opens;
  /// Loaded drivers and running programs whose image it is.
  unsigned int imageUses = 0;
  /// File mappings of its contents.
  unsigned int mappings = 0;
  bool deletePending = false;

  bool IsFolder() const { return (attributes & Directory) != 0; }
  /// What the attribute functions report: Normal when no bit is set.
  std::uint32_t ReportedAttributes() const { return attributes == 0 ? Normal : attributes; }
  /// Full path ("C:\dir\file", "C:\").
  std::u16string Path() const;

  /// The child of that name, or null.
  std::shared_ptr<FileNode> Child(std::u16string_view childName) const;
  void AddChild(const std::shared_ptr<FileNode>& child);
  void RemoveChild(FileNode& child);

  std::uint64_t Size() const { return m_hostPath.empty() ? m_contents.size() : m_hostSize; }
  /// The contents, read from the host's file first where they lie in one. Throws std::runtime_error when that
  /// cannot be read or has changed its size.
  const Bytes& Contents();
  /// The same, to be changed: the host's file is no longer what they are.
  Bytes& WritableContents();
  /// Makes the contents as long at least, with zeros behind them; false when the machine has no room for
  /// that.
  bool Extend(std::uint64_t size);
  /// The contents are those of a file of the host, which is read when they are first needed.
  void SetHostFile(std::string hostPath, std::uint64_t size);
  /// The host's file that the contents are still those of; empty when they are the machine's own.
  const std::string& HostPath() const { return m_hostPath; }

 private:
  Bytes m_contents;
  std::string m_hostPath;
  std::uint64_t m_hostSize = 0;
  bool m_isRead = false;
};

}  // namespace winsim
