#include "drivermanagement/PeTarget.h"

#include "drivermanagement/VersionFacts.h"
#include "foundation/Assert.h"
#include "foundation/LittleEndian.h"
#include "foundation/PtrRef.h"
#include "system/File.h"
#include "system/FileMapping.h"
#include "system/WindowsApi.h"

namespace DriverManagement {

namespace {

using LCommon::System::File;
using LCommon::System::FileMapping;
using LCommon::System::FileMappingView;
using LCommon::System::Manager;

constexpr unsigned int DosHeaderSize = 64;
constexpr unsigned int PeOffsetField = 60;
constexpr unsigned int FileHeaderOffset = 4;
constexpr unsigned int OptionalHeaderSizeField = FileHeaderOffset + 16;
constexpr unsigned int OptionalHeaderOffset = FileHeaderOffset + 20;
constexpr unsigned int MagicEnd = OptionalHeaderOffset + 2;
constexpr unsigned int OsVersionField = OptionalHeaderOffset + 40;

// The size of the optional header's fixed part, 0 for an unknown magic. The fields read lie at the same
// offsets in both layouts.
constexpr unsigned int FixedOptionalHeaderSize(unsigned int magic) {
  return magic == IMAGE_NT_OPTIONAL_HDR32_MAGIC ? 96 : magic == IMAGE_NT_OPTIONAL_HDR64_MAGIC ? 112 : 0;
}

// The first bytes of a mapped file, and the only way to them here.
class MappedHead {
 public:
  MappedHead(LPtrRef<FileMapping> mapping, unsigned int size)
      : m_view(LMakeRef<FileMappingView>(mapping, FileMappingView::accessRead, 0u, size)), m_size(size) {}

  // The number at `offset`, which the view must hold.
  template <class T>
  T Read(unsigned int offset) const {
    return LReadLittleEndian<T>(At(offset, sizeof(T)));
  }

 private:
  const unsigned char* At(unsigned int offset, unsigned int size) const {
    L_ASSERT(offset <= m_size && size <= m_size - offset);
    return static_cast<const unsigned char*>(m_view->GetBase()) + offset;
  }

  const LPtrRef<FileMappingView> m_view;
  const unsigned int m_size;
};

}  // namespace

// Each view reaches only as far as the headers read so far vouch for.
std::optional<PeTarget> ReadPeTarget(LUnicodeString path) {
  const auto file = LMakeRef<File>(path, File::accessRead, FILE_SHARE_READ, 0u, OPEN_EXISTING);
  const std::uint64_t fileSize = file->GetSize();
  if (fileSize < DosHeaderSize) return std::nullopt;
  const auto mapping = LMakeRef<FileMapping>(file, FileMapping::accessRead, 0u);

  const MappedHead dosHeader(mapping, DosHeaderSize);
  if (dosHeader.Read<std::uint16_t>(0) != IMAGE_DOS_SIGNATURE) return std::nullopt;
  const auto peOffset = dosHeader.Read<std::uint32_t>(PeOffsetField);
  const std::uint64_t magicEnd = std::uint64_t{peOffset} + MagicEnd;
  // No view reaches farther than 32 bits of size.
  constexpr std::uint64_t farthestMagicEnd =
      0xFFFFFFFF - FixedOptionalHeaderSize(IMAGE_NT_OPTIONAL_HDR64_MAGIC);
  if (magicEnd > fileSize || magicEnd > farthestMagicEnd) return std::nullopt;

  const MappedHead fileHeader(mapping, static_cast<unsigned int>(magicEnd));
  if (fileHeader.Read<std::uint32_t>(peOffset) != IMAGE_NT_SIGNATURE) return std::nullopt;
  const auto machine = MachineTypeFromPe(fileHeader.Read<std::uint16_t>(peOffset + FileHeaderOffset));
  if (machine == Manager::machineNotSpecified) return std::nullopt;
  const auto declaredSize = fileHeader.Read<std::uint16_t>(peOffset + OptionalHeaderSizeField);
  const unsigned int fixedSize =
      FixedOptionalHeaderSize(fileHeader.Read<std::uint16_t>(peOffset + OptionalHeaderOffset));
  if (fixedSize == 0 || declaredSize < fixedSize) return std::nullopt;

  const MappedHead optionalHeader(mapping, static_cast<unsigned int>(magicEnd) + fixedSize);
  const unsigned int osVersion = peOffset + OsVersionField;
  return PeTarget{machine, MajorMinorVersion(optionalHeader.Read<std::uint16_t>(osVersion),
                                             optionalHeader.Read<std::uint16_t>(osVersion + 2))};
}

}  // namespace DriverManagement
