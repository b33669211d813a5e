#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "machine/FileNode.h"
#include "machine/Object.h"

namespace winsim {

class FileObject;
class Machine;

/// The contents of a file, or memory of its own, as views show them. While it lives the file can be neither
/// deleted nor cut.
class FileMapping : public KernelObject {
 public:
  ~FileMapping() override;
  std::string Describe() const override;

  /// The work of CreateFileMapping; `file` is null for memory of the paging file. `protection` is a PAGE_
  /// number, a size of 0 means the file's.
  static std::uint32_t Create(Machine& machine, const FileObject* file, std::uint32_t protection,
                              std::uint64_t size, std::shared_ptr<FileMapping>& result);

 private:
  friend class FileView;
  FileMapping(Machine& machine, std::shared_ptr<FileNode> node, std::uint32_t protection, std::uint64_t size);

  Machine& m_machine;
  /// The file, or nameless memory.
  std::shared_ptr<FileNode> m_node;
  std::uint32_t m_protection;
  std::uint64_t m_size;
};

/// A view: a copy of the file's bytes, with zeros behind them to the end of its last page, that a writable
/// one brings back when it is unmapped. It has a place in the handle table of its process, so that it ends
/// with it, but no handle that a program knows.
class FileView : public Object {
 public:
  static constexpr std::uint32_t PageSize = 0x1000;
  static constexpr std::uint32_t Granularity = 0x10000;

  ~FileView() override;
  std::string Describe() const override;

  /// The work of MapViewOfFile; `access` has FILE_MAP_ bits, a size of 0 means up to the end.
  static std::uint32_t Create(std::shared_ptr<FileMapping> mapping, std::uint32_t access,
                              std::uint64_t offset, std::uint64_t size, std::shared_ptr<FileView>& result);

  void* Base() const { return m_memory; }
  bool Contains(const void* address) const;

 private:
  FileView(std::shared_ptr<FileMapping> mapping, std::uint64_t offset, std::uint64_t size, bool writesBack);

  std::shared_ptr<FileMapping> m_mapping;
  std::uint64_t m_offset;
  std::uint64_t m_size;
  bool m_writesBack;
  std::uint8_t* m_memory;
};

}  // namespace winsim
