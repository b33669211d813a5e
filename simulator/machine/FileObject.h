#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "machine/FileNode.h"
#include "machine/Object.h"

namespace winsim {

class FileSystem;
class Machine;

/// What CreateFile is asked for, with the numbers of the Windows functions.
struct OpenRequest {
  std::uint32_t access = 0;
  std::uint32_t share = 0;
  /// CREATE_NEW (1), CREATE_ALWAYS (2), OPEN_EXISTING (3), OPEN_ALWAYS (4), TRUNCATE_EXISTING (5).
  std::uint32_t disposition = 3;
  std::uint32_t flagsAndAttributes = 0;
};

/// The rights that matter of an access mask, generic ones resolved.
struct FileAccess {
  explicit FileAccess(std::uint32_t mask);
  bool read;
  bool write;
  bool execute;
  bool remove;
  bool writeAttributes;
  /// Reading, writing or deleting: what share modes are about.
  bool IsShared() const { return read || write || execute || remove; }
};

/// An open file or folder. Closing the last one of a file whose deletion is pending deletes it.
class FileObject : public KernelObject {
 public:
  FileObject(Machine& machine, std::shared_ptr<FileNode> node, const OpenRequest& request);
  ~FileObject() override;
  std::string Describe() const override;

  const std::shared_ptr<FileNode>& Node() const { return m_node; }
  const FileAccess& Access() const { return m_access; }

  /// Whether a further opening with `access` and `share` goes together with this one.
  bool Allows(const FileAccess& access, std::uint32_t share) const;

  /// Writes at `position`, or at the file pointer when it is null, which then moves on; zeros fill a gap.
  /// False when the machine has no room for so long a file.
  bool Write(const void* data, std::uint32_t size, const std::uint64_t* position);

 private:
  Machine& m_machine;
  std::shared_ptr<FileNode> m_node;
  FileAccess m_access;
  std::uint32_t m_share;
  std::uint64_t m_pointer = 0;
};

}  // namespace winsim
