#include "system/FileMapping.h"

#include "foundation/Assert.h"
#include "system/EnumTable.h"
#include "system/PlatformApi.h"

namespace LCommon::System {

namespace {

constexpr DWORD HighHalf(std::uint64_t value) {
  return static_cast<DWORD>(value >> 32);
}
constexpr DWORD LowHalf(std::uint64_t value) {
  return static_cast<DWORD>(value);
}

}  // namespace

FileMapping::FileMapping(LPtrRef<File> file, AccessType access, std::uint64_t maximumSize)
    : m_file(file), m_handle(LMakeRef<Handle>()) {
  static constexpr DWORD protections[] = {PAGE_READONLY, PAGE_READWRITE, PAGE_WRITECOPY, PAGE_EXECUTE_READ,
                                          PAGE_EXECUTE_READWRITE};
  if (!m_handle->Adopt(CreateFileMappingU(file->GetHandle()->Get(), nullptr, EntryFor(protections, access),
                                          HighHalf(maximumSize), LowHalf(maximumSize), nullptr))) {
    throw Exception(L_HERE, GetLastError());
  }
}

File::AccessType FileMapping::ToFileAccess(AccessType access) {
  static constexpr File::AccessType accesses[] = {File::accessRead, File::accessReadWrite,
                                                  File::accessReadWrite, File::accessReadExecute,
                                                  File::accessReadWriteExecute};
  return EntryFor(accesses, access);
}

FileMappingView::FileMappingView(LPtrRef<FileMapping> mapping, AccessType access, std::uint64_t offset,
                                 unsigned int size)
    : m_mapping(mapping), m_base(nullptr) {
  static constexpr DWORD accesses[] = {FILE_MAP_READ, FILE_MAP_WRITE, FILE_MAP_COPY, FILE_MAP_EXECUTE,
                                       FILE_MAP_EXECUTE};
  m_base = MapViewOfFile(mapping->GetHandle()->Get(), EntryFor(accesses, access), HighHalf(offset),
                         LowHalf(offset), size);
  if (m_base == nullptr) throw Exception(L_HERE, GetLastError());
}

FileMappingView::~FileMappingView() noexcept(false) {
  L_ASSERT(m_base != 0);
  UnmapViewOfFile(m_base);
}

FileMapping::AccessType FileMappingView::ToMappingAccess(AccessType access) {
  static constexpr FileMapping::AccessType accesses[] = {
      FileMapping::accessRead, FileMapping::accessReadWrite, FileMapping::accessCopyOnWrite,
      FileMapping::accessExecuteRead, FileMapping::accessExecuteReadWrite};
  return EntryFor(accesses, access);
}

void* FileMappingView::GetBase() const {
  L_ASSERT(m_base != 0);
  return m_base;
}

}  // namespace LCommon::System
