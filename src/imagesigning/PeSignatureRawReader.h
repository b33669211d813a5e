#pragma once

#include "foundation/Buffer.h"
#include "foundation/Object.h"
#include "foundation/PtrRef.h"
#include "system/FileMapping.h"

namespace DriverManagement::ImageSigning1 {

/// Reads the signature embedded in a PE file.
class PeSignatureRawReader : public LObject {
 public:
  /// Throws as `Read`.
  explicit PeSignatureRawReader(LPtrRef<LCommon::System::FileMappingView> view);

  /// The 128 bytes of the signature in the file that `view` shows whole. Throws `SignatureNotFoundException`
  /// when it has none, `InvalidImageException` when its headers are unreadable or the signature would lie
  /// outside it, and as `LCommon::System::File::GetSize`.
  static LBuffer Read(LPtrRef<LCommon::System::FileMappingView> view);

  LBuffer GetSignature() const { return m_signature; }

 private:
  LBuffer m_signature;
};

}  // namespace DriverManagement::ImageSigning1
