#pragma once

#include "foundation/Buffer.h"
#include "foundation/Object.h"
#include "foundation/PtrRef.h"
#include "system/FileMapping.h"
#include "system/WindowsApi.h"

namespace DriverManagement::ImageSigning1 {

/// The image in memory of a PE file. The static operations take a file's contents and their size in bytes and
/// throw `InvalidImageException` when a check fails; the pointers that they return lead into those contents,
/// to bytes that are all there but aligned to nothing: copy the structure out before use. Nothing is written.
class PeContainer : public LObject {
 public:
  static IMAGE_FILE_HEADER* GetFileHeader(void* data, unsigned int size);
  /// 0 for PE32, 1 for PE32+.
  static unsigned int IsPePlus(void* data, unsigned int size);
  /// Of PE32; there are as many data directories as its `NumberOfRvaAndSizes` says.
  static IMAGE_OPTIONAL_HEADER32* GetOptionalHeader32(void* data, unsigned int size);
  /// Of PE32+; there are as many data directories as its `NumberOfRvaAndSizes` says.
  static IMAGE_OPTIONAL_HEADER64* GetOptionalHeader64(void* data, unsigned int size);
  /// The first of the file header's `NumberOfSections`, which is 1 to 96.
  static IMAGE_SECTION_HEADER* GetSectionHeaders(void* data, unsigned int size);
  /// The image in memory. Also throws `std::bad_alloc`: what a file declares may be as large as 4 GB.
  static LBuffer Load(void* data, unsigned int size);

  explicit PeContainer(LPtrRef<LCommon::System::FileMappingView> view);

  /// Loads from a view of a whole file. Throws as `Load`, and as `LCommon::System::File::GetSize`.
  void Initialize(LPtrRef<LCommon::System::FileMappingView> view);

  LBuffer GetImage() const { return m_image; }

 private:
  LBuffer m_image;
};

}  // namespace DriverManagement::ImageSigning1
