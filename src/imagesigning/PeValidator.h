#pragma once

#include "foundation/Buffer.h"
#include "foundation/Object.h"
#include "foundation/PtrRef.h"
#include "foundation/UnicodeString.h"
#include "system/FileMapping.h"

namespace DriverManagement::ImageSigning1 {

/// Checks an image file against a signature with the key built into the program (`BuiltInKey`).
class PeSignatureValidator : public LObject {
 public:
  /// `view` shows the whole file; `signature` has 128 bytes, any other size ends in an assertion. Throws
  /// `InvalidImageException` when the image is refused, as `LCommon::System::File::GetSize`, and
  /// `std::bad_alloc` when there is no room for the image in memory.
  PeSignatureValidator(LPtrRef<LCommon::System::FileMappingView> view, LBuffer signature);

  /// 1 when the signature is that of the image, else 0.
  unsigned int IsValid() const { return m_valid; }

 private:
  unsigned int m_valid;
};

/// Checks an image file's embedded signature.
class PeValidator : public LObject {
 public:
  /// Throws as `PeSignatureRawReader` and `PeSignatureValidator`, and as `LCommon::System::File` and
  /// `FileMapping` when the file cannot be opened or mapped. An empty file cannot be mapped.
  explicit PeValidator(LUnicodeString filePathName);

  /// 1 when the embedded signature is that of the image, else 0.
  unsigned int IsValid() const { return m_valid; }

 private:
  unsigned int m_valid;
};

}  // namespace DriverManagement::ImageSigning1
