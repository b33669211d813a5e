#include "imagesigning/PeValidator.h"

#include "imagesigning/BuiltInKey.h"
#include "imagesigning/DigiSignValidator2.h"
#include "imagesigning/PeContainer.h"
#include "imagesigning/PeSignatureRawReader.h"
#include "imagesigning/PeStream.h"
#include "system/WindowsApi.h"

namespace DriverManagement::ImageSigning1 {

namespace {

using LCommon::Crypto::DigiSignValidator2;
using LCommon::System::File;
using LCommon::System::FileMapping;
using LCommon::System::FileMappingView;

LPtrRef<FileMappingView> MapWholeFile(LUnicodeString path) {
  const auto file = LMakeRef<File>(path, FileMapping::ToFileAccess(FileMapping::accessRead), FILE_SHARE_READ,
                                   0u, OPEN_EXISTING);
  const auto mapping = LMakeRef<FileMapping>(file, FileMapping::accessRead, 0u);
  return LMakeRef<FileMappingView>(mapping, FileMappingView::accessRead, 0u, 0u);
}

}  // namespace

PeSignatureValidator::PeSignatureValidator(LPtrRef<FileMappingView> view, LBuffer signature) {
  DigiSignValidator2 validator(BuiltInKey.exponent, BuiltInKey.modulus, signature);
  const PeContainer container(view);
  const LBuffer image = container.GetImage();
  PeStream stream(image.Data(), image.Size());
  const void* data = nullptr;
  unsigned int size = 0;
  while (stream.Get(data, size)) {
    validator.Update(data, size);
  }
  m_valid = validator.IsValid();
}

PeValidator::PeValidator(LUnicodeString filePathName) {
  const LPtrRef<FileMappingView> view = MapWholeFile(filePathName);
  const PeSignatureRawReader reader(view);
  m_valid = PeSignatureValidator(view, reader.GetSignature()).IsValid();
}

}  // namespace DriverManagement::ImageSigning1
