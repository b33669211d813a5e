#include "imagesigning/PeSignatureRawReader.h"

#include "imagesigning/InvalidImageException.h"
#include "imagesigning/PeSignatureSection.h"

namespace DriverManagement::ImageSigning1 {

namespace {

constexpr std::uint64_t MaximalFileSize = 0xFFFFFFFE;

}  // namespace

PeSignatureRawReader::PeSignatureRawReader(LPtrRef<LCommon::System::FileMappingView> view)
    : m_signature(Read(view)) {}

LBuffer PeSignatureRawReader::Read(LPtrRef<LCommon::System::FileMappingView> view) {
  const void* const base = view->GetBase();
  const std::uint64_t size = view->GetMapping()->GetFile()->GetSize();
  if (size > MaximalFileSize) throw InvalidImageException(L_HERE);
  try {
    const ImageBytes file(base, static_cast<std::uint32_t>(size));
    const auto offset = FindSignature(file);
    if (!offset) throw SignatureNotFoundException(L_HERE);
    return LBuffer(file.At(*offset, PeSignatureSize, PeRule::signatureData), PeSignatureSize);
  } catch (const PeRefusal&) {
    throw InvalidImageException(L_HERE);
  }
}

}  // namespace DriverManagement::ImageSigning1
