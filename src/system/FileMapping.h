#pragma once

#include <cstdint>

#include "foundation/Object.h"
#include "foundation/PtrRef.h"
#include "system/File.h"
#include "system/Handle.h"

namespace LCommon::System {

/// A mapping of an open file, which it keeps open.
class FileMapping : public LRefObject {
 public:
  class Exception : public WindowsErrorException {
   public:
    using WindowsErrorException::WindowsErrorException;
  };

  enum AccessType : unsigned int {
    accessRead = 0,
    accessReadWrite = 1,
    accessCopyOnWrite = 2,
    accessExecuteRead = 3,
    accessExecuteReadWrite = 4
  };

  /// Maps `maximumSize` bytes of the file, 0 for all of it. Throws `Exception` when the platform refuses, and
  /// the assertion "Unreachable point" for an access that is none of the type's.
  FileMapping(LPtrRef<File> file, AccessType access, std::uint64_t maximumSize);

  /// The access to open a file with for a mapping; values outside the type end in "Unreachable point".
  static File::AccessType ToFileAccess(AccessType access);

  LPtrRef<File> GetFile() const { return m_file; }
  LPtrRef<Handle> GetHandle() const { return m_handle; }

 private:
  LPtrRef<File> m_file;
  LPtrRef<Handle> m_handle;
};

/// A view of a mapped file in this process's memory. It keeps its mapping, and so the file, alive; the memory
/// is unmapped with the view.
class FileMappingView : public LRefObject {
 public:
  class Exception : public WindowsErrorException {
   public:
    using WindowsErrorException::WindowsErrorException;
  };

  enum AccessType : unsigned int {
    accessRead = 0,
    accessWrite = 1,
    accessCopy = 2,
    accessExecuteRead = 3,
    accessExecuteReadWrite = 4
  };

  /// Maps `size` bytes from `offset` on, with `size` 0 everything from there. Throws `Exception` when the
  /// platform refuses, and the assertion "Unreachable point" for an access that is none of the type's.
  FileMappingView(LPtrRef<FileMapping> mapping, AccessType access, std::uint64_t offset, unsigned int size);
  ~FileMappingView() noexcept(false) override;

  /// The access of the mapping that a view needs; values outside the type end in "Unreachable point".
  static FileMapping::AccessType ToMappingAccess(AccessType access);

  LPtrRef<FileMapping> GetMapping() const { return m_mapping; }
  /// The address of the first mapped byte; valid as long as the view.
  void* GetBase() const;

 private:
  LPtrRef<FileMapping> m_mapping;
  void* m_base;
};

}  // namespace LCommon::System
