#include "Verify.h"

#include "Image.h"
#include "imagesigning/DigiSignValidator2.h"
#include "imagesigning/InvalidImageException.h"
#include "imagesigning/PeContainer.h"
#include "imagesigning/PeSignatureRawReader.h"
#include "imagesigning/PeSignatureSection.h"
#include "imagesigning/PeStream.h"
#include "imagesigning/PeValidator.h"
#include "system/WindowsApi.h"

namespace kvsign {
namespace {

using DriverManagement::ImageSigning1::FindSignature;
using DriverManagement::ImageSigning1::ImageBytes;
using DriverManagement::ImageSigning1::InvalidImageException;
using DriverManagement::ImageSigning1::PeContainer;
using DriverManagement::ImageSigning1::PeRefusal;
using DriverManagement::ImageSigning1::PeSignatureRawReader;
using DriverManagement::ImageSigning1::PeStream;
using DriverManagement::ImageSigning1::PeValidator;
using DriverManagement::ImageSigning1::SignatureNotFoundException;
using LCommon::System::File;
using LCommon::System::FileMapping;
using LCommon::System::FileMappingView;

/// The product's validator takes only its own key; these are its steps with another one.
unsigned int IsValidWith(const PublicKey& key, LUnicodeString path) {
  const auto file = LMakeRef<File>(path, File::accessRead, FILE_SHARE_READ, 0u, OPEN_EXISTING);
  const auto mapping = LMakeRef<FileMapping>(file, FileMapping::accessRead, 0u);
  const LPtrRef<FileMappingView> view =
      LMakeRef<FileMappingView>(mapping, FileMappingView::accessRead, 0u, 0u);
  LCommon::Crypto::DigiSignValidator2 validator(key.exponent, key.modulus, PeSignatureRawReader::Read(view));
  const LBuffer image = PeContainer(view).GetImage();
  PeStream stream(image.Data(), image.Size());
  const void* data = nullptr;
  unsigned int size = 0;
  while (stream.Get(data, size)) {
    validator.Update(data, size);
  }
  return validator.IsValid();
}

/// The product's exception does not tell why.
Refusal FindReason(const Bytes& file) {
  try {
    FindSignature(ImageBytes(file.data(), static_cast<std::uint32_t>(file.size())));
    LoadImage(file);
  } catch (const PeRefusal& refusal) {
    return {refusal, false};
  } catch (const Refusal& refusal) {
    return refusal;
  }
  throw std::logic_error("an image was refused without a reason");
}

}  // namespace

Verification Verify(Session& session, const Bytes& file, const PublicKey* key) {
  const LUnicodeString path = session.PutFile(file);
  try {
    const unsigned int valid = key == nullptr ? PeValidator(path).IsValid() : IsValidWith(*key, path);
    return {valid != 0 ? Verdict::valid : Verdict::otherSignature};
  } catch (const SignatureNotFoundException&) {
    return {Verdict::noSignature};
  } catch (const InvalidImageException&) {
    return {Verdict::refused, FindReason(file)};
  }
}

}  // namespace kvsign
